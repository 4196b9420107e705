// The extension entries of the C interface (service/kav_epub_ext.h).

#include "service/kav_epub_ext.h"

#include <libxml/HTMLparser.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

#include "builder/epub_base.h"
#include "builder/html_encoding.h"
#include "builder/page_extras.h"
#include "convert/chapters.h"
#include "convert/epub_management.h"
#include "convert/language_guess.h"
#include "convert/text_book.h"
#include "convert/text_encoding.h"
#include "service/kav_result.h"
#include "service/service_record.h"

namespace {

// Copies text into a caller's buffer of size bytes, cut short if need be
// (never inside a UTF-8 character) and always terminated.
void CopyOut(const std::string& text, char* out, size_t size) {
  if (out == nullptr || size == 0) return;
  size_t length = std::min(text.size(), size - 1);
  while (length > 0 && length < text.size() &&
         (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
    --length;
  }
  memcpy(out, text.data(), length);
  out[length] = '\0';
}

// The record's builder, or the code for why there is none.
int BuilderOf(const TEpubService* service, EpubBase** epub) {
  if (service == nullptr) return KAV_ERR_NULL_HANDLE;
  if (service->data == nullptr || service->data->epub == nullptr) return KAV_ERR_NO_BUILDER;
  *epub = service->data->epub;
  return KAV_OK;
}

void CollectText(const xmlNode* node, std::string* text) {
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_TEXT_NODE && node->content != nullptr) {
      *text += reinterpret_cast<const char*>(node->content);
    }
    CollectText(node->children, text);
  }
}

const xmlNode* FindElement(const xmlNode* node, const char* name) {
  for (; node != nullptr; node = node->next) {
    if (node->type == XML_ELEMENT_NODE && xmlStrcasecmp(node->name, BAD_CAST name) == 0) {
      return node;
    }
    const xmlNode* found = FindElement(node->children, name);
    if (found != nullptr) return found;
  }
  return nullptr;
}

}  // namespace

extern "C" {

KavBookOptions* KavOptionsCreate(void) { return new (std::nothrow) KavBookOptions(); }

void KavOptionsFree(KavBookOptions* options) { delete options; }

int KavOptionsSet(KavBookOptions* options, const char* name, const char* value) {
  if (options == nullptr) return KAV_ERR_NULL_HANDLE;
  if (name == nullptr) return KAV_ERR_UNKNOWN_OPTION;
  const int known = kav_convert::CheckBookOption(name, "");
  if (known == KAV_ERR_UNKNOWN_OPTION) return known;
  if (value == nullptr) {
    options->values.erase(name);
    return KAV_OK;
  }
  const int r = kav_convert::CheckBookOption(name, value);
  if (r == KAV_OK) options->values[name] = value;
  return r;
}

int KavEpubSetLanguage(TEpubService* service, const char* bcp47) {
  EpubBase* epub = nullptr;
  int r = BuilderOf(service, &epub);
  if (r != KAV_OK) return r;
  if (!kav_convert::IsLanguageTag(bcp47)) return KAV_ERR_BAD_LANGUAGE;
  return epub->SetLanguage(bcp47);
}

int KavEpubSetAccessible(TEpubService* service, int on) {
  EpubBase* epub = nullptr;
  int r = BuilderOf(service, &epub);
  // A record without a book: its whole-book conversion (Mobi2Epub).
  if (r == KAV_ERR_NO_BUILDER && service->data != nullptr) {
    kav_service::SetRecordAccessible(service, on != 0);
    return KAV_OK;
  }
  if (r != KAV_OK) return r;
  return epub->SetAccessible(on != 0);
}

int KavEpubSetImageCaption(TEpubService* service, const char* caption) {
  EpubBase* epub = nullptr;
  int r = BuilderOf(service, &epub);
  if (r != KAV_OK) return r;
  if (caption == nullptr) {
    kav_builder::SetImageCaption(epub, "");
    return KAV_OK;
  }
  // Tabs and line breaks are blanks; other control characters have no place
  // in a description (nor in XML), and a blank one describes nothing.
  for (const char* c = caption; *c != '\0'; ++c) {
    const unsigned char byte = static_cast<unsigned char>(*c);
    if ((byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') || byte == 0x7F) {
      return KAV_ERR_BAD_CAPTION;
    }
  }
  const std::string plain = kav_builder::PlainText(caption);
  if (plain.empty() || !xmlCheckUTF8(BAD_CAST caption)) return KAV_ERR_BAD_CAPTION;
  kav_builder::SetImageCaption(epub, plain);
  return KAV_OK;
}

int KavEpubSetPageHeading(TEpubService* service, const char* heading) {
  EpubBase* epub = nullptr;
  int r = BuilderOf(service, &epub);
  if (r != KAV_OK) return r;
  if (heading == nullptr) return KAV_ERR_ARGUMENT;
  return epub->SetPageHeading(heading);
}

int KavEpubSetPageListed(TEpubService* service, int listed) {
  EpubBase* epub = nullptr;
  int r = BuilderOf(service, &epub);
  if (r != KAV_OK) return r;
  return epub->SetPageListed(listed != 0);
}

int KavEpubSetHtmlEncoding(TEpubService* service, const char* mode) {
  EpubBase* epub = nullptr;
  int r = BuilderOf(service, &epub);
  if (r != KAV_OK) return r;
  return kav_builder::SetHtmlEncoding(epub, mode);
}

int KavEpubConvertText(const char* txtPath, const char* epubPath, const char* workDir,
                       const KavBookOptions* options, void* user, ProgressCallback progress) {
  return kav_convert::ConvertTextBook(txtPath, epubPath, workDir, options, user, progress);
}

int KavEpubConvertMobi(const char* mobiPath, const char* epubPath, const char* workDir,
                       const KavBookOptions* options, void* user, ProgressCallback progress,
                       size_t* tocFlaws) {
  if (tocFlaws != nullptr) *tocFlaws = 0;
  const bool pages = options == nullptr || options->Get("mobi-layout", "pages") == "pages";
  MobiAccess access;
  access.on = options != nullptr && options->Get("accessibility", "off") == "on";
  if (access.on) access.conformsTo = options->Get("conforms-to", "");
  // As the service record's Mobi2Epub runs it.
  EpubManagement* converter = new (std::nothrow) EpubManagement();
  if (converter == nullptr) return KAV_ERR_FAILED;
  int result = converter->Init(workDir, "", "");
  if (result == KAV_OK) {
    result = pages ? converter->MobiPages2Epub(mobiPath, epubPath, user, progress, access,
                                               tocFlaws)
                   : converter->Mobi2Epub(mobiPath, epubPath, user, progress, access);
  }
  converter->ClearData();
  delete converter;
  return result;
}

int KavCheckChapterPattern(const char* pattern, char* message, size_t size, size_t* offset) {
  if (pattern == nullptr || *pattern == '\0') return KAV_ERR_BAD_PATTERN;
  kav_convert::ChapterFinder finder;
  std::string text;
  size_t at = 0;
  const int r = finder.Compile(pattern, &text, &at);
  CopyOut(r == KAV_OK ? "" : text, message, size);
  if (offset != nullptr) *offset = r == KAV_OK ? 0 : at;
  return r;
}

int KavIsChapterHeading(const char* text, size_t length, const char* pattern) {
  if (text == nullptr) return KAV_ERR_ARGUMENT;
  kav_convert::ChapterFinder finder;
  const int r = finder.Compile(pattern != nullptr ? pattern : "", nullptr, nullptr);
  if (r != KAV_OK) return r;
  return finder.IsHeading(text, length, nullptr) ? 1 : 0;
}

int KavGuessLanguage(const char* text, size_t length, char* tag, size_t size) {
  if (text == nullptr || tag == nullptr || size == 0) return KAV_ERR_ARGUMENT;
  CopyOut(kav_convert::GuessLanguage(text, length), tag, size);
  return KAV_OK;
}

int KavHtmlTitle(const char* htmlPath, char* title, size_t size) {
  return KavHtmlTitleIn(htmlPath, nullptr, title, size);
}

int KavHtmlTitleIn(const char* htmlPath, const char* encoding, char* title, size_t size) {
  if (htmlPath == nullptr || *htmlPath == '\0') return KAV_ERR_ARGUMENT;
  // Read as the import reads it, so that libxml2 meets no bytes it cannot
  // convert (and says nothing of them).
  const std::string mode = encoding != nullptr && *encoding != '\0' ? encoding : "auto";
  std::string page;
  if (!kav_builder::ReadPageAsUtf8(htmlPath, mode, &page)) return KAV_ERR_OPEN;
  htmlDocPtr doc = htmlReadMemory(page.data(), static_cast<int>(page.size()), htmlPath, "UTF-8",
                                  HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET);
  if (doc == nullptr) return KAV_ERR_OPEN;
  std::string text;
  const xmlNode* element = FindElement(xmlDocGetRootElement(doc), "title");
  if (element != nullptr) CollectText(element->children, &text);
  xmlFreeDoc(doc);
  // Blanks and line breaks collapse to single spaces, none at the ends.
  std::string collapsed;
  for (char c : text) {
    const bool blank = c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f';
    if (!blank) {
      collapsed += c;
    } else if (!collapsed.empty() && collapsed.back() != ' ') {
      collapsed += ' ';
    }
  }
  if (!collapsed.empty() && collapsed.back() == ' ') collapsed.pop_back();
  CopyOut(collapsed, title, size);
  return KAV_OK;
}

int KavHtmlBookTitle(const char* htmlPath, const char* encoding, char* title, size_t size) {
  const int r = KavHtmlTitleIn(htmlPath, encoding, title, size);
  if (r == KAV_OK && title != nullptr && size > 0 && *title == '\0') {
    CopyOut(kav_convert::FileStem(htmlPath), title, size);
  }
  return r;
}

int KavCheckTextEncoding(const char* txtPath, const char* encodingName, char* encoding, size_t size,
                         long long* offset, int* byte) {
  if (txtPath == nullptr || *txtPath == '\0') return KAV_ERR_ARGUMENT;
  const std::string named =
      encodingName == nullptr || strcmp(encodingName, "auto") == 0 ? "" : encodingName;
  std::string ignored;
  kav_convert::TextProblem problem;
  const int r =
      kav_convert::PrepareUtf8Text(txtPath, named, "", nullptr, nullptr, &ignored, &problem);
  CopyOut(problem.encoding, encoding, size);
  if (offset != nullptr) *offset = problem.offset;
  if (byte != nullptr) *byte = problem.byte;
  return r;
}

}  // extern "C"
