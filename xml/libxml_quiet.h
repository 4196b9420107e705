#ifndef KAV_EPUB_XML_LIBXML_QUIET_H_
#define KAV_EPUB_XML_LIBXML_QUIET_H_

#include <libxml/xmlerror.h>

namespace kav_xml {

// While alive, libxml2's own reports (I/O errors, parser complaints, XPath
// syntax errors) go nowhere instead of to stderr: the library prints nothing.
// libxml2 still records them as its last error. The previous handlers of
// this thread come back on destruction. Do not hold one across a validation
// whose context has its own handlers: a process-wide structured handler
// takes precedence over them.
class QuietLibxml {
 public:
  QuietLibxml();
  ~QuietLibxml();
  QuietLibxml(const QuietLibxml&) = delete;
  QuietLibxml& operator=(const QuietLibxml&) = delete;

 private:
  xmlGenericErrorFunc generic_;
  void* genericContext_;
  xmlStructuredErrorFunc structured_;
  void* structuredContext_;
};

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_LIBXML_QUIET_H_
