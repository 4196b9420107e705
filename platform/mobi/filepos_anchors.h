#ifndef KAV_EPUB_PLATFORM_MOBI_FILEPOS_ANCHORS_H_
#define KAV_EPUB_PLATFORM_MOBI_FILEPOS_ANCHORS_H_

#include <string>
#include <string_view>

namespace kavmobi {

// MOBI 6 links name their targets by text position: libmobi writes
// <a id="0000001126"> and href="#0000001126". An id must be an XML name, so
// inside tags such ids and the fragments pointing at them get a "filepos"
// prefix: id="filepos0000001126", href="#filepos0000001126".
std::string WithNamedAnchors(std::string_view html);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_FILEPOS_ANCHORS_H_
