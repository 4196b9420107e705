#include "platform/mobi/break_end_tags.h"

#include <functional>
#include <string_view>
#include <utility>

#include "platform/mobi/utf8_charset.h"
#include "platform/tool/ascii_words.h"

namespace kavmobi {
namespace {

constexpr size_t npos = std::string::npos;
constexpr std::string_view kBreakEnd = "</br>";

// The blanks of libxml2's parser: a form feed is not one.
bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// Elements whose content is not markup in some parser, and the one that can
// switch the encoding; the scan stops at their start tags.
bool StopsScan(std::string_view name) {
  static constexpr std::string_view kStops[] = {"script",    "style",   "textarea", "xmp",
                                                "plaintext", "iframe",  "noembed",  "noframes",
                                                "noscript",  "listing", "meta"};
  for (std::string_view stop : kStops) {
    if (name == stop) return true;
  }
  return false;
}

// End of a name at pos (a letter first, then letters, digits and ":-_."),
// or npos. Names of 100 characters and more are cut by the parser: npos.
size_t NameEnd(std::string_view html, size_t pos) {
  if (pos >= html.size() || !IsLetter(html[pos])) return npos;
  size_t end = pos + 1;
  while (end < html.size()) {
    const char c = html[end];
    if (!IsLetter(c) && !(c >= '0' && c <= '9') && c != ':' && c != '-' && c != '_' && c != '.')
      break;
    ++end;
  }
  return end - pos < 100 ? end : npos;
}

size_t SkipBlanks(std::string_view html, size_t pos) {
  while (pos < html.size() && IsBlank(html[pos])) ++pos;
  return pos;
}

// Offset past the end tag starting at lt ("</name>" with blanks before the
// '>'), or npos.
size_t EndTagEnd(std::string_view html, size_t lt) {
  const size_t name = NameEnd(html, lt + 2);
  if (name == npos) return npos;
  const size_t close = SkipBlanks(html, name);
  return close < html.size() && html[close] == '>' ? close + 1 : npos;
}

// Offset past the start tag starting at lt, with its lower-case name, or
// npos for anything but: a name, then attributes each a name with
// optionally '=' and a quoted value or an unquoted one of plain
// characters, then '>' or "/>".
template <typename Attribute>
size_t StartTagEnd(std::string_view html, size_t lt, std::string* name, Attribute& attribute) {
  size_t pos = NameEnd(html, lt + 1);
  if (pos == npos) return npos;
  name->clear();
  for (size_t i = lt + 1; i < pos; ++i) name->push_back(Lower(html[i]));
  while (true) {
    const size_t blanks = SkipBlanks(html, pos);
    if (blanks >= html.size()) return npos;
    if (html[blanks] == '>') return blanks + 1;
    if (html.compare(blanks, 2, "/>") == 0) return blanks + 2;
    // Attributes are separated by blanks.
    if (blanks == pos) return npos;
    pos = NameEnd(html, blanks);
    if (pos == npos) return npos;
    const std::string_view attributeName = html.substr(blanks, pos - blanks);
    const size_t equals = SkipBlanks(html, pos);
    if (equals >= html.size() || html[equals] != '=') {
      attribute(attributeName, nullptr);
      continue;
    }
    const size_t value = SkipBlanks(html, equals + 1);
    if (value >= html.size()) return npos;
    const char quote = html[value];
    if (quote == '"' || quote == '\'') {
      const size_t close = html.find(quote, value + 1);
      if (close == npos) return npos;
      const std::string_view quoted = html.substr(value + 1, close - value - 1);
      attribute(attributeName, &quoted);
      pos = close + 1;
      continue;
    }
    pos = value;
    while (pos < html.size() && !IsBlank(html[pos]) && html[pos] != '>') {
      const char c = html[pos];
      if (c == '"' || c == '\'' || c == '<' || c == '=' || c == '`') return npos;
      ++pos;
    }
    if (pos == value) return npos;
    const std::string_view unquoted = html.substr(value, pos - value);
    attribute(attributeName, &unquoted);
  }
}

// Well-formed UTF-8 (no overlong forms, surrogates or values past U+10FFFF).
bool IsUtf8(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    i = KavSkipAsciiWords(text.data(), text.size(), i, 0);
    if (i == text.size()) break;
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      ++i;
      continue;
    }
    const size_t length = c >= 0xC2 && c <= 0xDF   ? 2
                          : c >= 0xE0 && c <= 0xEF ? 3
                          : c >= 0xF0 && c <= 0xF4 ? 4
                                                   : 0;
    if (length == 0 || i + length > text.size()) return false;
    const unsigned char second = static_cast<unsigned char>(text[i + 1]);
    if ((c == 0xE0 && second < 0xA0) || (c == 0xED && second > 0x9F) ||
        (c == 0xF0 && second < 0x90) || (c == 0xF4 && second > 0x8F)) {
      return false;
    }
    for (size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) return false;
    }
    i += length;
  }
  return true;
}

// Follows text's plain markup from the start: calls endBreak with the
// offset of each "</br>" end tag that directly follows another tag, and attribute with each
// attribute of each start tag (its name as written, and its value as written, or null). True when
// the markup keeps plain to the end of text.
template <typename EndBreak, typename Attribute>
bool ScanPlainMarkup(std::string_view text, EndBreak endBreak, Attribute attribute) {
  // A NUL ends the parser's reading early in places, and bytes that are not
  // UTF-8 make it change its reading: such text is not followed.
  if (text.find('\0') != npos || !IsUtf8(text)) return false;
  std::string name;
  size_t tagEnd = npos;  // just past the last tag
  size_t pos = text.find('<');
  while (pos != npos) {
    if (pos + 1 >= text.size()) return false;
    if (text.compare(pos, kBreakEnd.size(), kBreakEnd) == 0) {
      // Only right after another tag: text before it is a run of its own,
      // which would join the text after it, and a run of blanks is kept or
      // dropped by what follows it.
      if (pos == tagEnd) endBreak(pos);
      tagEnd = pos + kBreakEnd.size();
      pos = text.find('<', tagEnd);
      continue;
    }
    size_t end = npos;
    if (text[pos + 1] == '/') {
      end = EndTagEnd(text, pos);
    } else if (IsLetter(text[pos + 1])) {
      end = StartTagEnd(text, pos, &name, attribute);
      // The charset declaration the reader itself puts first is the one
      // meta tag passed over.
      if (end != npos && StopsScan(name) && text.substr(pos, end - pos) != kUtf8Meta) end = npos;
    }
    if (end == npos) return false;
    tagEnd = end;
    pos = text.find('<', end);
  }
  return true;
}

}  // namespace

std::string WithoutBreakEndTags(std::string html, const AttributeCheck& accept,
                                bool* everyAccepted) {
  const std::string_view text(html);
  const bool anyBreakEnd = text.find(kBreakEnd) != npos;
  // Dropping end tags that directly follow a tag changes no attribute, and
  // the rest of the markup stays as plain as it was: the answer for the
  // text is the answer for the result.
  if (!anyBreakEnd) {
    if (everyAccepted != nullptr) *everyAccepted = EveryAttributeOfPlainMarkup(text, accept);
    return html;
  }
  std::string out;
  size_t kept = 0;  // text[kept, offset) is still to be copied
  bool accepted = true;
  const bool plain = ScanPlainMarkup(
      text,
      [&](size_t offset) {
        if (out.empty()) out.reserve(text.size());
        out.append(text, kept, offset - kept);
        kept = offset + kBreakEnd.size();
      },
      [&](std::string_view name, const std::string_view* value) {
        if (everyAccepted != nullptr && accepted && !accept(name, value)) accepted = false;
      });
  if (everyAccepted != nullptr) *everyAccepted = plain && accepted;
  if (kept == 0) return html;
  out.append(text, kept, npos);
  // A page of nothing else is still a page to the parser; without them it
  // would be an empty document (a leading byte-order mark is passed over).
  const size_t start = out.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
  for (size_t i = start; i < out.size(); ++i) {
    if (!IsBlank(out[i])) return out;
  }
  return html;
}

std::string WithoutBreakEndTags(std::string html) {
  return WithoutBreakEndTags(std::move(html), AttributeCheck(), nullptr);
}

bool EveryAttributeOfPlainMarkup(std::string_view html, const AttributeCheck& accept) {
  bool accepted = true;
  const bool plain = ScanPlainMarkup(
      html, [](size_t) {},
      [&](std::string_view name, const std::string_view* value) {
        if (accepted && !accept(name, value)) accepted = false;
      });
  return plain && accepted;
}

}  // namespace kavmobi
