#ifndef KAV_EPUB_PLATFORM_MOBI_UTF8_CHARSET_H_
#define KAV_EPUB_PLATFORM_MOBI_UTF8_CHARSET_H_

#include <mobi.h>

#include <string>
#include <string_view>

namespace kavmobi {

// libmobi hands out UTF-8 markup, but MOBI 6 markup declares no charset, so
// an HTML parser would read it as Latin-1. Every file we write carries this.
extern const char kUtf8Meta[];

// markup with kUtf8Meta as the first element of its head; a head is made
// when there is none.
std::string WithUtf8Charset(std::string_view markup);

// Whether a header's encoding field says CP1252. libmobi keeps the field's
// number as the file has it, which need not be one of the enumeration's
// values, so it is read as a number.
bool IsCp1252(const MOBIEncoding& encoding);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_UTF8_CHARSET_H_
