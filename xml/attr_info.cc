// Filling one record of an attribute chain.
#include <cstring>

#include "xml/xml_base.h"

namespace {

// Copies text into a field of size bytes, NUL-terminated. A text too long
// for it is cut at the last whole UTF-8 character that fits, so libxml2
// never receives half a character.
void CopyField(char* field, std::size_t size, const char* text) {
  std::size_t length = text != nullptr ? std::strlen(text) : 0;
  if (length > size - 1) {
    // text[length] is the first byte left out; while it continues a
    // character (10xxxxxx), step back to that character's lead byte, at most
    // three bytes (the longest character is four), so text that is not
    // UTF-8 still keeps nearly all of its bytes.
    length = size - 1;
    for (int back = 0; back < 3 && length > 0; ++back) {
      if ((static_cast<unsigned char>(text[length]) & 0xC0) != 0x80) break;
      --length;
    }
  }
  // memmove: a caller may refill a record from its own fields.
  if (length > 0) std::memmove(field, text, length);
  field[length] = '\0';
}

}  // namespace

XMLAttrInfo* SetAttrInfo(XMLAttrInfo* info, const char* name, const char* value,
                         XMLAttrInfo* next) {
  if (info == nullptr) return nullptr;
  CopyField(info->name, sizeof(info->name), name);
  CopyField(info->value, sizeof(info->value), value);
  info->next = next;
  return info;
}
