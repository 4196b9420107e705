#include "platform/mobi/html_scan.h"

namespace kavmobi {
namespace {

constexpr size_t npos = std::string_view::npos;

char Lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

bool SameIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

// True when `prefix` + name (any case) stands at pos, followed by a
// character that ends a tag name, so that "<b" does not match "<body".
bool TagNameAt(std::string_view html, size_t pos, std::string_view prefix, std::string_view name) {
  size_t end = pos + prefix.size() + name.size();
  if (end >= html.size()) return false;
  char next = html[end];
  return html.compare(pos, prefix.size(), prefix) == 0 &&
         SameIgnoringCase(html.substr(pos + prefix.size(), name.size()), name) &&
         (IsSpace(next) || next == '>' || next == '/');
}

}  // namespace

size_t FindStartTag(std::string_view html, std::string_view name, size_t from) {
  for (size_t pos = html.find('<', from); pos != npos; pos = html.find('<', pos + 1)) {
    if (TagNameAt(html, pos, "<", name)) return pos;
  }
  return npos;
}

size_t FindLastEndTag(std::string_view html, std::string_view name) {
  for (size_t pos = html.rfind("</"); pos != npos;
       pos = pos == 0 ? npos : html.rfind("</", pos - 1)) {
    if (TagNameAt(html, pos, "</", name)) return pos;
  }
  return npos;
}

size_t TagEnd(std::string_view html, size_t tagStart) {
  // Only '>' and '=' matter outside a value: '>' ends the tag, and after
  // '=' and any blanks a quote opens a value that runs to the same quote.
  const size_t size = html.size();
  size_t i = tagStart + 1;
  while (true) {
    while (i < size && html[i] != '>' && html[i] != '=') ++i;
    if (i >= size) return npos;
    if (html[i] == '>') return i + 1;
    ++i;
    while (i < size && IsSpace(html[i])) ++i;
    if (i < size && (html[i] == '"' || html[i] == '\'')) {
      const size_t close = html.find(html[i], i + 1);
      if (close == npos) return npos;
      i = close + 1;
    }
  }
}

std::string_view AttributeValue(std::string_view tag, std::string_view name) {
  auto stops = [](char c) { return IsSpace(c) || c == '=' || c == '>' || c == '/'; };
  size_t i = 1;  // past '<', then past the element's own name
  while (i < tag.size() && !stops(tag[i])) ++i;
  while (i < tag.size() && tag[i] != '>') {
    if (IsSpace(tag[i]) || tag[i] == '/') {
      ++i;
      continue;
    }
    size_t nameStart = i;
    while (i < tag.size() && !stops(tag[i])) ++i;
    std::string_view attr = tag.substr(nameStart, i - nameStart);
    while (i < tag.size() && IsSpace(tag[i])) ++i;
    std::string_view value;
    if (i < tag.size() && tag[i] == '=') {
      ++i;
      while (i < tag.size() && IsSpace(tag[i])) ++i;
      size_t valueStart = i;
      if (i < tag.size() && (tag[i] == '"' || tag[i] == '\'')) {
        size_t close = tag.find(tag[i], i + 1);
        if (close == npos) return {};
        value = tag.substr(i + 1, close - i - 1);
        i = close + 1;
      } else {
        while (i < tag.size() && !IsSpace(tag[i]) && tag[i] != '>') ++i;
        value = tag.substr(valueStart, i - valueStart);
      }
    }
    if (SameIgnoringCase(attr, name)) return value;
  }
  return {};
}

}  // namespace kavmobi
