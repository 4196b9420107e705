#include "builder/page_extras.h"

#include <libxml/tree.h>

#include <string>
#include <utility>
#include <vector>

#include "builder/builder_table.h"
#include "builder/epub_base.h"
#include "service/kav_result.h"

namespace kav_builder {

namespace {

BuilderTable<PageExtras>& Pages() {
  static BuilderTable<PageExtras> pages;
  return pages;
}

BuilderTable<BookAccess>& Books() {
  static BuilderTable<BookAccess> books;
  return books;
}

BuilderTable<std::string>& Captions() {
  static BuilderTable<std::string> captions;
  return captions;
}

}  // namespace

BookAccess BookAccessOf(const EpubBase* builder) { return Books().Of(builder); }
void SetBookAccess(const EpubBase* builder, const BookAccess& access) {
  Books().Set(builder, access);
}
void ForgetBookAccess(const EpubBase* builder) { Books().Forget(builder); }

void SetImageCaption(const EpubBase* builder, const std::string& caption) {
  if (caption.empty()) {
    Captions().Forget(builder);
  } else {
    Captions().Set(builder, caption);
  }
}

std::string TakeImageCaption(const EpubBase* builder) {
  std::string caption = Captions().Of(builder);
  Captions().Forget(builder);
  return caption;
}

PageExtras PageExtrasOf(const EpubBase* builder) { return Pages().Of(builder); }
void SetPageExtras(const EpubBase* builder, const PageExtras& extras) {
  Pages().Set(builder, extras);
}
void ForgetPageExtras(const EpubBase* builder) { Pages().Forget(builder); }

}  // namespace kav_builder

int EpubBase::SetLanguage(const char* language) {
  if (opfFile == nullptr) return KAV_ERR_NO_PAGE;
  kav_builder::BookAccess access = kav_builder::BookAccessOf(this);
  if (access.accessible) {
    access.language = language != nullptr ? language : "";
    kav_builder::SetBookAccess(this, access);
  }
  return opfFile->SetOpfLanguage(language);
}

int EpubBase::SetPageHeading(const char* heading) {
  if (pageFile == nullptr) return KAV_ERR_NO_OPEN_PAGE;
  int r = pageFile->SetHtmlHeading(heading);
  if (r != KAV_OK) return r;
  kav_builder::PageExtras extras = kav_builder::PageExtrasOf(this);
  extras.labelled = true;
  extras.label = heading != nullptr ? heading : "";
  kav_builder::SetPageExtras(this, extras);
  return KAV_OK;
}

int EpubBase::SetPageListed(bool listed) {
  if (pageFile == nullptr) return KAV_ERR_NO_OPEN_PAGE;
  kav_builder::PageExtras extras = kav_builder::PageExtrasOf(this);
  extras.listed = listed;
  kav_builder::SetPageExtras(this, extras);
  return KAV_OK;
}

namespace kav_builder {

std::string PlainText(const std::string& text) {
  std::string plain;
  for (char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    // Control characters have no place in an XML document: they become
    // blanks, and blanks do not repeat or frame the text.
    const bool blank = byte < 0x20 || byte == 0x7F || c == ' ';
    if (!blank) {
      plain += c;
    } else if (!plain.empty() && plain.back() != ' ') {
      plain += ' ';
    }
  }
  if (!plain.empty() && plain.back() == ' ') plain.pop_back();
  return plain;
}

std::string PageTitle(const BookAccess& access, int page, const std::string* heading) {
  if (heading != nullptr) {
    const std::string plain = PlainText(*heading);
    if (!plain.empty()) return plain;
  }
  return access.title + ", page " + std::to_string(page);
}

namespace {

std::string Count(int n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

}  // namespace

int WriteAccessMetadata(XMLFile* opf, const BookAccess& access) {
  const bool pictures = access.pictures > 0;
  const bool allDescribed = access.described == access.pictures;
  std::vector<std::pair<const char*, std::string>> metas;
  metas.emplace_back("schema:accessMode", "textual");
  if (pictures) metas.emplace_back("schema:accessMode", "visual");
  if (!pictures || allDescribed) metas.emplace_back("schema:accessModeSufficient", "textual");
  if (pictures) metas.emplace_back("schema:accessModeSufficient", "textual,visual");
  metas.emplace_back("schema:accessibilityFeature", "tableOfContents");
  metas.emplace_back("schema:accessibilityFeature", "readingOrder");
  if (access.headings > 0) metas.emplace_back("schema:accessibilityFeature", "structuralNavigation");
  if (pictures && allDescribed) metas.emplace_back("schema:accessibilityFeature", "alternativeText");
  metas.emplace_back("schema:accessibilityHazard", access.imported > 0 ? "unknown" : "none");

  std::string summary = "A book of " + Count(access.pages, "page", "pages") +
                        " in the language " + access.language +
                        ", read in order, with a table of contents";
  if (access.headings > 0) summary += " and " + Count(access.headings, "heading", "headings");
  summary += ".";
  if (pictures) {
    summary += " It holds " + Count(access.pictures, "picture", "pictures") + ", " +
               (allDescribed ? std::string("each with a description.")
                             : std::to_string(access.described) + " of them with a description.");
  }
  if (access.imported > 0) {
    summary += " " + Count(access.imported, "page comes", "pages come") +
               " from HTML as written, not checked for accessibility.";
  }
  if (access.conformsTo.empty()) {
    summary += " No conformance to an accessibility standard is claimed.";
  }
  metas.emplace_back("schema:accessibilitySummary", summary);
  if (!access.conformsTo.empty()) metas.emplace_back("dcterms:conformsTo", access.conformsTo);

  for (const auto& meta : metas) {
    int r = opf->AddOpfMeta(meta.first, meta.second.c_str());
    if (r != KAV_OK) return r;
  }
  return KAV_OK;
}

}  // namespace kav_builder

int EpubBase::SetAccessible(bool on) {
  if (opfFile == nullptr) return KAV_ERR_NO_PAGE;
  if (!on) {
    kav_builder::ForgetBookAccess(this);
    return KAV_OK;
  }
  kav_builder::BookAccess access = kav_builder::BookAccessOf(this);
  access.accessible = true;
  access.language = opfFile->OpfText("dc:language");
  access.title = kav_builder::PlainText(opfFile->OpfText("dc:title"));
  if (access.title.empty()) access.title = "Untitled";
  int r = opfFile->SetOpfTitle(access.title.c_str());
  if (r != KAV_OK) return r;
  kav_builder::SetBookAccess(this, access);
  return KAV_OK;
}

namespace kav_builder {

namespace {

bool IsHeading(const xmlNode* node) {
  const char* name = reinterpret_cast<const char*>(node->name);
  return (name[0] == 'h' || name[0] == 'H') && name[1] >= '1' && name[1] <= '6' && name[2] == '\0';
}

void CollectText(const xmlNode* node, std::string* text) {
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_TEXT_NODE && node->content != nullptr) {
      *text += reinterpret_cast<const char*>(node->content);
    }
    CollectText(node->children, text);
  }
}

// Counts the page's pictures (and those with a description) and headings;
// the first heading with text, and the page's <title>, are kept.
void NotePage(xmlNode* node, BookAccess* access, std::string* heading, xmlNode** title) {
  for (; node != nullptr; node = node->next) {
    if (node->type != XML_ELEMENT_NODE) continue;
    if (xmlStrcasecmp(node->name, BAD_CAST "img") == 0) {
      ++access->pictures;
      xmlChar* alt = xmlGetProp(node, BAD_CAST "alt");
      if (alt != nullptr && !PlainText(reinterpret_cast<const char*>(alt)).empty()) {
        ++access->described;
      }
      xmlFree(alt);
    } else if (IsHeading(node)) {
      ++access->headings;
      if (heading->empty()) {
        std::string text;
        CollectText(node->children, &text);
        *heading = PlainText(text);
      }
    } else if (*title == nullptr && xmlStrcasecmp(node->name, BAD_CAST "title") == 0) {
      *title = node;
    }
    NotePage(node->children, access, heading, title);
  }
}

// The first title element and the text of the first heading that has any,
// in document order (no heading is looked for where the book holds none);
// true once all is found.
bool FindTitleAndHeading(xmlNode* node, bool headings, std::string* heading, xmlNode** title) {
  for (; node != nullptr; node = node->next) {
    if (node->type != XML_ELEMENT_NODE) continue;
    if (headings && IsHeading(node)) {
      if (heading->empty()) {
        std::string text;
        CollectText(node->children, &text);
        *heading = PlainText(text);
      }
    } else if (*title == nullptr && xmlStrcasecmp(node->name, BAD_CAST "title") == 0) {
      *title = node;
    }
    if (*title != nullptr && (!headings || !heading->empty())) return true;
    if (FindTitleAndHeading(node->children, headings, heading, title)) return true;
  }
  return false;
}

}  // namespace

void NoteImportedPage(xmlNode* root, BookAccess* access) {
  if (root == nullptr) return;
  xmlChar* declared = xmlNodeGetLang(root);
  if (declared == nullptr) {
    xmlNodeSetLang(root, BAD_CAST access->language.c_str());
    xmlSetProp(root, BAD_CAST "lang", BAD_CAST access->language.c_str());
  }
  xmlFree(declared);
  std::string heading;
  xmlNode* title = nullptr;
  NotePage(root, access, &heading, &title);
  // The clean-up titles a page after its file; its first heading, else the
  // book's title and the page's place, says more.
  if (title != nullptr) {
    xmlNodeSetContent(title, nullptr);
    xmlNodeAddContent(title, BAD_CAST PageTitle(*access, access->pages, &heading).c_str());
  }
}

void TitleImportedPage(xmlNode* root, const BookAccess& access, int page) {
  if (root == nullptr) return;
  // The whole page was counted before it was cut: only its title element
  // and first heading with text are looked for, and the walk stops there.
  std::string heading;
  xmlNode* title = nullptr;
  FindTitleAndHeading(root, access.headings > 0, &heading, &title);
  if (title == nullptr) return;
  xmlNodeSetContent(title, nullptr);
  xmlNodeAddContent(title, BAD_CAST PageTitle(access, page, &heading).c_str());
}

}  // namespace kav_builder
