#include "xml/libxml_quiet.h"

#include <libxml/globals.h>

namespace kav_xml {
namespace {

void IgnoreGeneric(void*, const char*, ...) {}
void IgnoreStructured(void*, xmlError*) {}

}  // namespace

QuietLibxml::QuietLibxml()
    : generic_(xmlGenericError),
      genericContext_(xmlGenericErrorContext),
      structured_(xmlStructuredError),
      structuredContext_(xmlStructuredErrorContext) {
  xmlSetGenericErrorFunc(nullptr, IgnoreGeneric);
  xmlSetStructuredErrorFunc(nullptr, IgnoreStructured);
}

QuietLibxml::~QuietLibxml() {
  xmlSetGenericErrorFunc(genericContext_, generic_);
  xmlSetStructuredErrorFunc(structuredContext_, structured_);
}

}  // namespace kav_xml
