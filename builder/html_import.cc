#include <libxml/tree.h>
#include <stdio.h>
#include <stdlib.h>
#include <strings.h>

#include <filesystem>
#include <string>
#include <unordered_map>
#include <vector>

#include "builder/book_paths.h"
#include "builder/epub_base.h"
#include "builder/html_encoding.h"
#include "builder/page_extras.h"
#include "fileutil/file_util.h"
#include "service/kav_result.h"
#include "xml/page_split.h"
#include "xml/xml_base.h"

namespace {

// A reference whose extension is any substring of this text is imported as a
// page; everything else is copied as a resource. The search is deliberately
// a plain, case-sensitive substring test ("ml" and "" count as pages).
const char kPageExtensions[] = "|html|xhtml|htm|";

// One key per file on disk, however it was reached: "a/../b/x.html" and
// "b/x.html" name the same file.
std::string FileKey(const std::string& path) {
  std::error_code error;
  std::filesystem::path canonical = std::filesystem::weakly_canonical(path, error);
  if (error) return std::filesystem::path(path).lexically_normal().string();
  return canonical.string();
}

// A file stored under a destination name: the unit that is imported once.
std::string ImportKey(const std::string& src, const std::string& dest) {
  return FileKey(src) + '\n' + dest;
}

std::string AfterLast(const std::string& text, char separator) {
  size_t pos = text.rfind(separator);
  return pos == std::string::npos ? text : text.substr(pos + 1);
}

// The name a referenced file is stored under: after its last "/" and after
// any "\" as well. A backslash kept in the name would reach the archive,
// where an unpacker that reads it as a separator could place
// "..\..\x.png" outside the folder it unpacks into.
std::string StoredName(const std::string& reference) {
  return AfterLast(AfterLast(reference, '/'), '\\');
}

// References are looked up in the directory part of the page's path, which
// is empty for a bare file name.
std::string SourceDirOf(const std::string& src) {
  std::string name;
  std::string dir;
  GetFileOrDirFromPath(src.c_str(), name, dir);
  return dir;
}

// What a page refers to is stored beside it: up to and including the last
// "/" of its destination, or nothing without one.
std::string DestDirOf(const std::string& dest) {
  size_t slash = dest.rfind('/');
  return slash == std::string::npos ? std::string() : dest.substr(0, slash + 1);
}

bool IsStyleSheet(const std::string& name) {
  return name.size() > 4 && strcasecmp(name.c_str() + name.size() - 4, ".css") == 0;
}

}  // namespace

int EpubBase::AddHTHLToEpub(const char* htmlPath) {
  ++pageNum;
  std::string destPath = bookDir + "/OEBPS/" + kav_builder::PageFileName(pageNum);
  return GenerateNewHtml(htmlPath, destPath.c_str());
}

int EpubBase::GenerateNewHtml(const char* srcPath, const char* destPath) {
  return ImportTree(srcPath, destPath, nullptr);
}

int EpubBase::ImportTree(const char* srcPath, const char* destPath, const SplitRequest* split) {
  // Pages that refer to each other in a cycle would be followed forever, so
  // one walk imports every file at most once for each name it is stored
  // under: the first visit gives the file its name and records, and later
  // references to it (through any relative path) add nothing. The top page
  // is stored as page-N.html, so a page linking back to it imports it once
  // more under its own name; that keeps the back link pointing at a page.
  //
  // The walk is depth first: a referenced page is imported, with all it
  // refers to, before the next reference of the page that named it. It
  // keeps its own stack rather than recursing, so a long chain of pages
  // cannot exhaust the thread's stack, and only one page document is held
  // in memory at a time.
  struct OpenPage {
    std::vector<std::string> refs;
    size_t next;
    std::string srcDir;
    std::string destDir;
  };
  std::vector<OpenPage> walk;
  auto importPage = [this, &walk, &split](const std::string& src, const std::string& dest) {
    OpenPage page{{}, 0, SourceDirOf(src), DestDirOf(dest)};
    // Only the top page is split; the pages it leads to are imported whole.
    int r = split != nullptr ? ImportSplitHtml(src, dest, *split, &page.refs)
                             : ImportHtml(src.c_str(), dest.c_str(), &page.refs);
    split = nullptr;
    if (r == 0 && !page.refs.empty()) walk.push_back(std::move(page));
    return r;
  };

  importedFiles.clear();
  const std::string encodingMode = kav_builder::HtmlEncodingOf(this);
  int r = importPage(srcPath != nullptr ? srcPath : "", destPath != nullptr ? destPath : "");
  while (!walk.empty()) {
    OpenPage& page = walk.back();
    if (page.next == page.refs.size()) {
      walk.pop_back();
      continue;
    }
    const std::string reference = page.refs[page.next++];
    const std::string srcRes = page.srcDir + "/" + reference;
    const std::string name = StoredName(reference);
    // A file literally named "a\.." or "a\" leaves no name of its own; the
    // copy would go to the folder itself or the one above it.
    if (name.empty() || name == "." || name == "..") continue;
    const std::string destRes = page.destDir + name;
    size_t extDot = srcRes.rfind('.');
    std::string ext = extDot == std::string::npos ? srcRes : srcRes.substr(extDot + 1);
    // Failures below the top page are ignored and the walk goes on.
    if (std::string(kPageExtensions).find(ext) != std::string::npos) {
      importPage(srcRes, destRes);  // may grow walk: page is not used after this
    } else if (importedFiles.insert(ImportKey(srcRes, destRes)).second) {
      opfFile->AddRecordToOpf(name.c_str());
      if (!encodingMode.empty() && IsStyleSheet(name)) {
        kav_builder::CopyStyleSheet(srcRes, destRes);
      } else {
        CopyFile(srcRes.c_str(), destRes.c_str());
      }
    }
  }
  importedFiles.clear();
  return r;
}

int EpubBase::ImportHtml(const char* srcPath, const char* destPath,
                         std::vector<std::string>* refs) {
  std::string src = srcPath;
  std::string dest = destPath;
  if (!importedFiles.insert(ImportKey(src, dest)).second) return KAV_OK;

  std::string fileName = AfterLast(dest, '/');
  size_t dot = fileName.rfind('.');
  std::string stem = dot == std::string::npos ? fileName : fileName.substr(0, dot);

  XMLBase page;
  // Without a document nothing can be imported; that is not reported.
  if (page.Init() != 0) return KAV_OK;
  int r = ReadCleanHtml(page, src, stem);
  if (r != 0) return r;
  kav_builder::BookAccess access = kav_builder::BookAccessOf(this);
  if (access.accessible && page.Document() != nullptr) {
    ++access.pages;
    ++access.imported;
    kav_builder::NoteImportedPage(xmlDocGetRootElement(page.Document()), &access);
    kav_builder::SetBookAccess(this, access);
  }
  CreateFile(dest.c_str());
  page.SaveFile(dest.c_str());  // a failed save is not reported

  r = RegisterPage(fileName);
  if (r != 0) return r;

  // Everything the page refers to lands flat beside it under its own base
  // name; the page document itself is no longer needed.
  while (char* ref = page.GetXhtmlExternSource()) {
    refs->push_back(ref);
    free(ref);
  }
  return KAV_OK;
}

struct EpubBase::SplitRequest {
  const std::vector<std::string>& breakIds;
  size_t maxPageBytes;
  bool listPages;
  std::unordered_map<std::string, std::string>* pageOfId;
};

int EpubBase::AddSplitHtmlToEpub(const char* htmlPath, const std::vector<std::string>& breakIds,
                                 size_t maxPageBytes, bool listPages,
                                 std::unordered_map<std::string, std::string>* pageOfId) {
  if (pageOfId != nullptr) pageOfId->clear();
  ++pageNum;
  std::string destPath = bookDir + "/OEBPS/" + kav_builder::PageFileName(pageNum);
  SplitRequest split{breakIds, maxPageBytes, listPages, pageOfId};
  return ImportTree(htmlPath, destPath.c_str(), &split);
}

int EpubBase::ImportSplitHtml(const std::string& src, const std::string& dest,
                              const SplitRequest& split, std::vector<std::string>* refs) {
  importedFiles.insert(ImportKey(src, dest));
  const std::string destDir = DestDirOf(dest);
  std::string fileName = AfterLast(dest, '/');
  size_t dot = fileName.rfind('.');
  std::string stem = dot == std::string::npos ? fileName : fileName.substr(0, dot);

  XMLBase page;
  if (page.Init() != 0) return KAV_OK;  // as an import without a document
  kav_xml::BreakMarkers markers;
  int r = ReadCleanHtml(page, src, stem);
  if (r != 0) return r;
  kav_builder::BookAccess access = kav_builder::BookAccessOf(this);
  if (access.accessible && page.Document() != nullptr) {
    kav_builder::NoteImportedPage(xmlDocGetRootElement(page.Document()), &access);
  }

  kav_xml::PageSplitInput input;
  input.markers = markers.nodes();
  input.breakIds.insert(split.breakIds.begin(), split.breakIds.end());
  input.maxPageBytes = split.maxPageBytes;
  const int first = pageNum;
  auto nameOf = [first](size_t index) {
    return kav_builder::PageFileName(first + static_cast<int>(index));
  };
  std::vector<std::string> names;
  auto save = [&destDir, &nameOf, &names, &access](size_t index, xmlDoc* doc) {
    names.push_back(nameOf(index));
    if (access.accessible) {
      kav_builder::TitleImportedPage(xmlDocGetRootElement(doc), access,
                                     access.pages + static_cast<int>(index) + 1);
    }
    const std::string path = destDir + names.back();
    kav_xml::SaveXhtmlDocument(doc, path.c_str());  // a failed save is not reported
    return KAV_OK;
  };
  std::unordered_map<std::string, size_t> pageOfId;
  size_t pages = 0;
  r = kav_xml::SplitPage(page.Document(), input, nameOf, save, &pageOfId, &pages);
  if (pages > 0) pageNum = first + static_cast<int>(pages) - 1;
  if (access.accessible) {
    access.pages += static_cast<int>(pages);
    access.imported += static_cast<int>(pages);
    kav_builder::SetBookAccess(this, access);
  }
  for (const std::string& name : names) {
    int registered = split.listPages ? RegisterPage(name)
                     : opfFile == nullptr ? KAV_ERR_NO_PAGE
                                          : opfFile->AddRecordToOpf(name.c_str());
    if (r == 0) r = registered;
  }
  if (r != 0) return r;
  if (split.pageOfId != nullptr) {
    for (const auto& id : pageOfId) split.pageOfId->emplace(id.first, names[id.second]);
  }
  while (char* ref = page.GetXhtmlExternSource()) {
    refs->push_back(ref);
    free(ref);
  }
  return KAV_OK;
}

int EpubBase::ReadCleanHtml(XMLBase& page, const std::string& src, const std::string& stem) {
  // A host that asked for pages in their own encoding gets the clean-up
  // reading a UTF-8 copy; references are still looked up beside the page.
  std::string readPath = src;
  const std::string encodingMode = kav_builder::HtmlEncodingOf(this);
  const std::string copyPath = tempDir + "/page-utf8.html";
  int r = encodingMode.empty() ? KAV_OK
                               : kav_builder::Utf8PageFor(src, encodingMode, copyPath, &readPath);
  if (r != 0) return r;
  r = page.HtmlProcess(readPath.c_str(), SourceDirOf(src).c_str(), stem.c_str(), dtdPath.c_str());
  if (readPath != src) remove(readPath.c_str());
  return r;
}

int EpubBase::AppendPropToCSS(const char* text) {
  FILE* file = fopen(cssPath.c_str(), "ab");
  if (file == nullptr) return KAV_OK;  // a missing style sheet is not reported
  if (text != nullptr) fputs(text, file);
  return fclose(file);
}
