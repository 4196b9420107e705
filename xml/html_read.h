// Reading a foreign HTML file for the clean-up.
#ifndef KAV_EPUB_XML_HTML_READ_H_
#define KAV_EPUB_XML_HTML_READ_H_

#include <libxml/tree.h>

namespace kav_xml {

// The file parsed as htmlReadFile(path, "UTF-8", options) parses it, but
// without the attributes that the clean-up removes from every element that
// carries them, whatever else the page holds: height and width on p and
// blockquote. Books made for MOBI readers put both on nearly every
// paragraph; leaving them out at the start spares making, checking and
// freeing them. Null where htmlReadFile gives null.
xmlDoc* ReadHtmlForCleanup(const char* path, int options);

// While one stands, ReadHtmlForCleanup on this thread keeps every attribute,
// as htmlReadFile does: for checking that leaving them out changes nothing.
class KeepAllAttributes {
 public:
  KeepAllAttributes();
  ~KeepAllAttributes();
  KeepAllAttributes(const KeepAllAttributes&) = delete;
  KeepAllAttributes& operator=(const KeepAllAttributes&) = delete;

 private:
  bool previous_;
};

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_HTML_READ_H_
