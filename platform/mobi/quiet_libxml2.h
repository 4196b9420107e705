#ifndef KAV_EPUB_PLATFORM_MOBI_QUIET_LIBXML2_H_
#define KAV_EPUB_PLATFORM_MOBI_QUIET_LIBXML2_H_

#include <libxml/xmlerror.h>

namespace kavmobi {

// While it lives, libxml2 reports errors to nobody. libmobi writes the
// OPF of a MOBI 6 book with libxml2, which would print to stderr about a
// damaged book's metadata. The caller's handlers come back afterwards.
class QuietLibxml2 {
 public:
  QuietLibxml2();
  ~QuietLibxml2();
  QuietLibxml2(const QuietLibxml2&) = delete;
  QuietLibxml2& operator=(const QuietLibxml2&) = delete;

 private:
  xmlGenericErrorFunc generic_;
  void* genericContext_;
  xmlStructuredErrorFunc structured_;
  void* structuredContext_;
};

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_QUIET_LIBXML2_H_
