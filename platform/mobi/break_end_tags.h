#ifndef KAV_EPUB_PLATFORM_MOBI_BREAK_END_TAGS_H_
#define KAV_EPUB_PLATFORM_MOBI_BREAK_END_TAGS_H_

#include <functional>
#include <string>
#include <string_view>

namespace kavmobi {

// MOBI 6 books written by common converters close every line break as
// "<br></br>". A "</br>" end tag never closes anything in libxml2's HTML
// parser (a br is closed as soon as it opens), so it only makes the parser
// build and throw away an error record, which for a large book is a fifth
// of everything allocated in each parse of its HTML.
//
// Returns html without the "</br>" end tags that directly follow another
// tag where the importer's parse reads them as end tags, so that it parses
// to the same tree. The markup is followed only as far as it keeps to
// plain start tags (quoted or simple attribute values), end tags and text;
// from the first comment, declaration, processing instruction, script or
// other raw-text element, charset declaration or anything unusual in a tag
// onwards, the text is kept exactly as it is.
std::string WithoutBreakEndTags(std::string html);

// An attribute's name as written, and its value as written (character
// references not decoded), or null; false to refuse it.
using AttributeCheck = std::function<bool(std::string_view name, const std::string_view* value)>;

// WithoutBreakEndTags, and from the same scan *everyAccepted: whether the
// markup keeps plain to the end and accept takes every attribute of its
// start tags, as EveryAttributeOfPlainMarkup would answer for the result.
std::string WithoutBreakEndTags(std::string html, const AttributeCheck& accept,
                                bool* everyAccepted);

// True when html keeps to that plain markup from start to end and accept
// takes every attribute of its start tags: its name as written, and its
// value as written (character references not decoded), or null.
bool EveryAttributeOfPlainMarkup(std::string_view html, const AttributeCheck& accept);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_BREAK_END_TAGS_H_
