#ifndef KAV_EPUB_XML_XML_STRING_H_
#define KAV_EPUB_XML_XML_STRING_H_

#include <libxml/xmlmemory.h>
#include <libxml/xmlstring.h>

#include <climits>
#include <cstddef>
#include <cstring>

namespace kav_xml {

// A private copy of a C string for handing to libxml2, made by libxml2's
// allocator and released with xmlFree when it goes out of scope. A null text
// gives a null copy, which libxml2 treats as a missing argument.
class XmlString {
 public:
  explicit XmlString(const char* text) : text_(Duplicate(text)) {}
  ~XmlString() {
    if (text_ != nullptr) xmlFree(text_);
  }
  XmlString(const XmlString&) = delete;
  XmlString& operator=(const XmlString&) = delete;

  const xmlChar* get() const { return text_; }
  // For the few libxml2 calls that take file names and encodings as char.
  const char* c_str() const { return reinterpret_cast<const char*>(text_); }

 private:
  // The same copy as xmlCharStrdup, which moves one byte at a time; a
  // paragraph's text is copied whole here. Texts too long for libxml2's
  // int lengths keep the byte-wise copy.
  static xmlChar* Duplicate(const char* text) {
    if (text == nullptr) return nullptr;
    const std::size_t length = std::strlen(text);
    if (length > static_cast<std::size_t>(INT_MAX)) return xmlCharStrdup(text);
    return xmlStrndup(reinterpret_cast<const xmlChar*>(text), static_cast<int>(length));
  }

  xmlChar* text_;
};

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_XML_STRING_H_
