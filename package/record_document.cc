#include "package/record_document.h"

#include <libxml/xmlsave.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "service/kav_result.h"
#include "xml/libxml_quiet.h"
#include "xml/well_formed.h"

namespace {

// Records made and written at a time: few enough that the scratch document
// stays small, many enough that each round costs little.
constexpr std::size_t kBatch = 256;

// The text of the comment that marks where run `index` goes. libxml2 writes
// "<!--" only for a comment node, never inside text or attribute values, so
// the saved tree shows the mark exactly where the comment is.
std::string MarkText(std::size_t index) { return "kav-records-" + std::to_string(index); }

int WriteToFile(void* context, const char* buffer, int length) {
  FILE* file = static_cast<FILE*>(context);
  const std::size_t size = static_cast<std::size_t>(length);
  return std::fwrite(buffer, 1, size, file) == size ? length : -1;
}

bool ReadWhole(const char* path, std::string* text) {
  FILE* file = std::fopen(path, "rb");
  if (file == nullptr) return false;
  char buffer[16384];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof(buffer), file)) > 0) text->append(buffer, got);
  const bool ok = std::ferror(file) == 0;
  std::fclose(file);
  return ok;
}

}  // namespace

unsigned int RecordDocument::SaveWithRecords(const char* fileName,
                                             const std::vector<RecordRun>& runs) {
  // A comment at the end of each run's parent, there only while the tree is
  // saved; a run without a parent adds nothing, like an addition to it would.
  std::vector<std::pair<std::size_t, xmlNode*>> marks;
  for (std::size_t i = 0; i < runs.size(); ++i) {
    xmlNode* parent = runs[i].count > 0 ? FindLastNode(root, runs[i].parent) : nullptr;
    if (parent == nullptr) continue;
    xmlNode* mark = xmlNewComment(BAD_CAST MarkText(i).c_str());
    if (mark == nullptr) return KAV_ERR_XML_SAVE;
    xmlAddChild(parent, mark);
    marks.emplace_back(i, mark);
  }
  const unsigned int code = SaveFile(fileName);
  for (const auto& mark : marks) {
    xmlUnlinkNode(mark.second);
    xmlFreeNode(mark.second);
  }
  if (code != KAV_OK || marks.empty()) return code;

  // The saved tree, cut at the marks, with the records written in between.
  std::string saved;
  if (!ReadWhole(fileName, &saved)) return KAV_ERR_XML_SAVE;
  std::vector<std::pair<std::size_t, std::size_t>> cuts;  // (offset, run)
  for (const auto& mark : marks) {
    const std::string text = "<!--" + MarkText(mark.first) + "-->";
    const std::size_t at = saved.find(text);
    if (at == std::string::npos) return KAV_ERR_XML_SAVE;
    cuts.emplace_back(at, mark.first);
  }
  std::sort(cuts.begin(), cuts.end());

  std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(fileName, "wb"), std::fclose);
  if (!file) return KAV_ERR_XML_SAVE;
  kav_xml::QuietLibxml quiet;
  // The records' nodes are written as a save of the whole document writes
  // its nodes: unformatted, in UTF-8, with the document marked as UTF-8 so
  // that attribute values keep their characters.
  xmlSaveCtxt* save = xmlSaveToIO(WriteToFile, nullptr, file.get(), "UTF-8", 0);
  if (save == nullptr) return KAV_ERR_XML_SAVE;
  std::size_t from = 0;
  bool made = true;
  for (const auto& cut : cuts) {
    std::fwrite(saved.data() + from, 1, cut.first - from, file.get());
    from = cut.first + MarkText(cut.second).size() + 7;  // "<!--" and "-->"
    const RecordRun& run = runs[cut.second];
    RecordDocument scratch;
    if (scratch.InitForOpf() != KAV_OK) {
      made = false;
      break;
    }
    scratch.doc->encoding = xmlStrdup(BAD_CAST "UTF-8");
    for (std::size_t first = 0; first < run.count; first += kBatch) {
      // A new root frees the former one with the batch before it.
      scratch.AddXMLNode(nullptr, run.parent, nullptr);
      const std::size_t end = std::min(run.count, first + kBatch);
      for (std::size_t index = first; index < end; ++index) run.add(scratch, index);
      std::vector<const xmlNode*> removed;
      kav_xml::MakeWellFormed(scratch.doc, &removed);
      for (xmlNode* node = scratch.root->children; node != nullptr; node = node->next) {
        xmlSaveTree(save, node);
      }
    }
    xmlSaveFlush(save);
  }
  const bool written = xmlSaveClose(save) >= 0;
  std::fwrite(saved.data() + from, 1, saved.size() - from, file.get());
  if (!made || !written || std::ferror(file.get()) != 0) return KAV_ERR_XML_SAVE;
  return std::fclose(file.release()) == 0 ? KAV_OK : KAV_ERR_XML_SAVE;
}
