#include "platform/mobi/quiet_libxml2.h"

#include <libxml/globals.h>

namespace kavmobi {
namespace {

void IgnoreGeneric(void*, const char*, ...) {}
void IgnoreStructured(void*, xmlErrorPtr) {}

}  // namespace

// libxml2 keeps these per thread, so other threads are not affected.
QuietLibxml2::QuietLibxml2()
    : generic_(xmlGenericError),
      genericContext_(xmlGenericErrorContext),
      structured_(xmlStructuredError),
      structuredContext_(xmlStructuredErrorContext) {
  xmlSetGenericErrorFunc(nullptr, IgnoreGeneric);
  xmlSetStructuredErrorFunc(nullptr, IgnoreStructured);
}

QuietLibxml2::~QuietLibxml2() {
  xmlSetGenericErrorFunc(genericContext_, generic_);
  xmlSetStructuredErrorFunc(structuredContext_, structured_);
}

}  // namespace kavmobi
