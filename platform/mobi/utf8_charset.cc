#include "platform/mobi/utf8_charset.h"

#include <stdint.h>
#include <string.h>

#include "platform/mobi/html_scan.h"

namespace kavmobi {

const char kUtf8Meta[] = "<meta http-equiv=\"Content-Type\" content=\"text/html; charset=utf-8\"/>";

std::string WithUtf8Charset(std::string_view markup) {
  std::string out;
  out.reserve(markup.size() + sizeof kUtf8Meta + 16);
  // First in the head, so that it wins over any charset the book's own
  // markup still declares.
  size_t head = FindStartTag(markup, "head");
  size_t insertAt = head == std::string_view::npos ? head : TagEnd(markup, head);
  std::string inserted = kUtf8Meta;
  if (insertAt == std::string_view::npos) {
    inserted = "<head>" + inserted + "</head>";
    size_t html = FindStartTag(markup, "html");
    insertAt = html == std::string_view::npos ? html : TagEnd(markup, html);
    if (insertAt == std::string_view::npos) insertAt = 0;
  }
  out.append(markup.substr(0, insertAt));
  out.append(inserted);
  out.append(markup.substr(insertAt));
  return out;
}

bool IsCp1252(const MOBIEncoding& encoding) {
  uint32_t number = 0;
  static_assert(sizeof number == sizeof encoding, "the encoding is a 32-bit field");
  memcpy(&number, &encoding, sizeof number);
  return number == MOBI_CP1252;
}

}  // namespace kavmobi
