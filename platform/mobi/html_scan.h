#ifndef KAV_EPUB_PLATFORM_MOBI_HTML_SCAN_H_
#define KAV_EPUB_PLATFORM_MOBI_HTML_SCAN_H_

// Just enough tag scanning to splice reconstructed MOBI markup, which libmobi
// writes in a regular shape; this is not an HTML parser.

#include <string>
#include <string_view>

namespace kavmobi {

// Offset of the '<' of the first start tag `name` (any case) at or after
// from, or npos.
size_t FindStartTag(std::string_view html, std::string_view name, size_t from = 0);

// Offset of the '<' of the last end tag `name` (any case), or npos.
size_t FindLastEndTag(std::string_view html, std::string_view name);

// Offset just past the '>' closing the tag that starts at tagStart, skipping
// quoted attribute values, or npos when the tag never closes.
size_t TagEnd(std::string_view html, size_t tagStart);

// The raw value of attribute `name` (any case) in one tag's text, or empty.
std::string_view AttributeValue(std::string_view tag, std::string_view name);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_HTML_SCAN_H_
