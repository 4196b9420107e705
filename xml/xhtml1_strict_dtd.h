#ifndef KAV_EPUB_XML_XHTML1_STRICT_DTD_H_
#define KAV_EPUB_XML_XHTML1_STRICT_DTD_H_

#include "service/kav_export.h"

// The XHTML 1.0 Strict DTD in one line, then null. It declares no general
// entities, so named character references are never resolved through it.
KAV_EXPORT extern const char* const kXhtml1StrictDtd[2];

#endif  // KAV_EPUB_XML_XHTML1_STRICT_DTD_H_
