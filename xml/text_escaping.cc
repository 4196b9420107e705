// In-place string rewriting: replace-all from the end, and the decoding of
// the URL escapes of reserved characters in references from imported HTML.
#include <string>

#include "xml/xml_base.h"

std::string& XMLBase::ReplaceString(std::string& text, const char* pattern, int length,
                                    const char* replacement) {
  if (pattern == nullptr) return text;
  // A missing replacement removes the matched characters.
  const char* const insert = replacement != nullptr ? replacement : "";
  // A negative length becomes a huge count, which std::string cuts at the
  // end of the text.
  const std::string::size_type count = static_cast<std::string::size_type>(length);
  std::string::size_type position = text.rfind(pattern);
  while (position != std::string::npos) {
    text.replace(position, count, insert);
    if (position == 0) break;
    // Only occurrences that begin before the one just replaced: text the
    // replacement inserted is never searched again.
    position = text.rfind(pattern, position - 1);
  }
  return text;
}

namespace {

struct Escape {
  const char* code;
  const char* character;
};

// The reserved characters whose escapes are decoded, in the order they are
// decoded (an escape with a letter in upper case before lower case). "%25"
// is deliberately absent, so decoding can never produce a new escape.
const Escape kReservedEscapes[] = {
    {"%20", " "}, {"%21", "!"}, {"%23", "#"}, {"%24", "$"}, {"%26", "&"}, {"%27", "'"},
    {"%28", "("}, {"%29", ")"}, {"%2A", "*"}, {"%2a", "*"}, {"%2B", "+"}, {"%2b", "+"},
    {"%2C", ","}, {"%2c", ","}, {"%2F", "/"}, {"%2f", "/"}, {"%3A", ":"}, {"%3a", ":"},
    {"%3B", ";"}, {"%3b", ";"}, {"%3D", "="}, {"%3d", "="}, {"%3F", "?"}, {"%3f", "?"},
    {"%40", "@"}, {"%5B", "["}, {"%5b", "["}, {"%5D", "]"}, {"%5d", "]"},
};

}  // namespace

std::string& XMLBase::PercentEncoding(std::string& text) {
  for (const Escape& escape : kReservedEscapes) {
    ReplaceString(text, escape.code, 3, escape.character);
  }
  return text;
}
