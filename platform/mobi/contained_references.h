#ifndef KAV_EPUB_PLATFORM_MOBI_CONTAINED_REFERENCES_H_
#define KAV_EPUB_PLATFORM_MOBI_CONTAINED_REFERENCES_H_

#include <string>

namespace kavmobi {

// The book's HTML goes on to an importer that copies every local file a src
// or href names. A book's own references are fragments, URLs and the bare
// names of the pictures written beside the HTML; anything else (a path with
// "..", a slash or a percent escape) could name a file outside the book, so
// such attributes are removed. HTML without any trace of a path is returned
// as it is; otherwise it is parsed as the importer parses it, cleaned and
// written out again.
std::string WithContainedReferences(std::string html);

// WithContainedReferences(WithoutBreakEndTags(html)), with one scan of the
// markup for both.
std::string WithContainedReferencesAndNoBreakEndTags(std::string html);

// True for a decoded src/href value that cannot lead outside the directory
// of the HTML file.
bool IsContainedReference(const std::string& value);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_CONTAINED_REFERENCES_H_
