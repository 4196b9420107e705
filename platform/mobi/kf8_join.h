#ifndef KAV_EPUB_PLATFORM_MOBI_KF8_JOIN_H_
#define KAV_EPUB_PLATFORM_MOBI_KF8_JOIN_H_

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kavmobi {

// One KF8 HTML file; its uid is the file number that links refer to.
struct MarkupPart {
  size_t uid;
  std::string_view html;
};

// "partNNNNN", the id of the anchor that opens part uid.
std::string PartAnchorId(size_t uid);

// Gives the replacement for a "kindle:" attribute value, or "" to keep it.
using LinkResolver = std::function<std::string(std::string_view url)>;

// The parts, in reading order, as one HTML document: each part's body
// content, preceded by an anchor "partNNNNN" (and one for the body's own id),
// with every quoted attribute value that starts with "kindle:" resolved. The
// parts' heads (their titles and style sheet links) are dropped. With
// pageBreaks, an <mbp:pagebreak/> stands before every part but the first.
std::string JoinKf8Parts(const std::vector<MarkupPart>& parts, const LinkResolver& resolve,
                         bool pageBreaks = false);

// The same for a KF8 text whose skeleton and fragment indices are lost: its
// first flow holds each file's skeleton (an XML declaration, an html element
// with the head and an empty body) followed by that file's content. The
// skeletons' declarations, heads and html and body tags are dropped, the
// content is kept in its order.
std::string ReadableKf8Flow(std::string_view flow, const LinkResolver& resolve);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_KF8_JOIN_H_
