// Reusing a parsed DTD across the pages of an import.
#ifndef KAV_EPUB_XML_DTD_CACHE_H_
#define KAV_EPUB_XML_DTD_CACHE_H_

#include <libxml/tree.h>

#include <string>

namespace kav_xml {

// The DTD in the file at path, parsed from uri (the path as libxml2 reads
// it). Parsing the XHTML DTD costs about as much as cleaning a typical page,
// and an import cleans every page against the same file, so the last DTD
// parsed on this thread is kept while the file stays the same (same file,
// size and modification time) and handed out again; libxml2 also keeps the
// content models it compiles on first use in it. Null when the file cannot
// be parsed. The DTD belongs to the cache: valid until the next call on this
// thread, never freed by the caller.
xmlDtd* CachedDtd(const std::string& path, const xmlChar* uri);

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_DTD_CACHE_H_
