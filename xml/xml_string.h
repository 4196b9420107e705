#ifndef KAV_EPUB_XML_XML_STRING_H_
#define KAV_EPUB_XML_XML_STRING_H_

#include <libxml/xmlmemory.h>
#include <libxml/xmlstring.h>

namespace kav_xml {

// A private copy (xmlCharStrdup) of a C string for handing to libxml2,
// released with xmlFree when it goes out of scope. A null text gives a null
// copy, which libxml2 treats as a missing argument.
class XmlString {
 public:
  explicit XmlString(const char* text) : text_(text != nullptr ? xmlCharStrdup(text) : nullptr) {}
  ~XmlString() {
    if (text_ != nullptr) xmlFree(text_);
  }
  XmlString(const XmlString&) = delete;
  XmlString& operator=(const XmlString&) = delete;

  const xmlChar* get() const { return text_; }
  // For the few libxml2 calls that take file names and encodings as char.
  const char* c_str() const { return reinterpret_cast<const char*>(text_); }

 private:
  xmlChar* text_;
};

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_XML_STRING_H_
