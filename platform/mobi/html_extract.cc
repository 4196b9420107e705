#include "platform/mobi/html_extract.h"

#include <string_view>
#include <utility>
#include <vector>

#include "platform/mobi/contained_references.h"
#include "platform/mobi/file_writer.h"
#include "platform/mobi/filepos_anchors.h"
#include "platform/mobi/kav_mobi.h"
#include "platform/mobi/kf8_join.h"
#include "platform/mobi/kf8_links.h"
#include "platform/mobi/resource_writer.h"
#include "platform/mobi/utf8_charset.h"

namespace kavmobi {

std::string BookHtml(const MOBIRawml& rawml, BookToc* toc, const MOBIRawml* tocSource) {
  std::vector<MarkupPart> parts;
  for (const MOBIPart* part = rawml.markup; part != nullptr; part = part->next) {
    // Part data is not NUL-terminated: always read it with its size.
    if (part->type == T_HTML) {
      parts.push_back(
          {part->uid, std::string_view(reinterpret_cast<const char*>(part->data), part->size)});
    }
  }
  std::string html;
  if (mobi_is_rawml_kf8(&rawml)) {
    Kf8Links links(rawml);
    html = JoinKf8Parts(parts, [&links](std::string_view url) { return links.Resolve(url); },
                        toc != nullptr);
    if (toc != nullptr) *toc = NcxToc(rawml, &links, html);
  } else if (!parts.empty()) {
    // MOBI 6 text comes as a single part.
    html = WithUtf8Charset(WithNamedAnchors(parts.front().html));
    if (toc != nullptr) *toc = NcxToc(tocSource != nullptr ? *tocSource : rawml, nullptr, html);
  }
  if (toc != nullptr && toc->entries.empty()) {
    const size_t flawed = toc->flawed;
    *toc = MadeToc(&html);
    toc->flawed = flawed;
  }
  return html;
}

int ExtractBookHtml(const MOBIRawml& rawml, const std::string& htmlPath, BookToc* toc,
                    const MOBIRawml* tocSource) {
  return ExtractHtmlAndPictures(BookHtml(rawml, toc, tocSource), rawml.resources, htmlPath);
}

int ExtractHtmlAndPictures(std::string html, const MOBIPart* pictures, const std::string& htmlPath,
                           BookToc* toc) {
  // A parsed book's table is made already (and may be empty: so is this).
  if (toc != nullptr && toc->entries.empty() && toc->flawed == 0) *toc = MadeToc(&html);
  html = WithContainedReferencesAndNoBreakEndTags(std::move(html));
  size_t slash = htmlPath.rfind('/');
  std::string dir = slash == std::string::npos ? std::string() : htmlPath.substr(0, slash + 1);
  int result = WriteImageResources(pictures, dir);
  if (result != 0) return result;
  return WriteFileAtomically(htmlPath, html.data(), html.size()) ? 0 : KAV_MOBI_ERR_WRITE;
}

}  // namespace kavmobi
