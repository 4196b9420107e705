#ifndef KAV_EPUB_XML_WELL_FORMED_H_
#define KAV_EPUB_XML_WELL_FORMED_H_

#include <libxml/tree.h>

#include <string>
#include <vector>

namespace kav_xml {

// text with every byte that is not part of an XML character in UTF-8
// (invalid or overlong UTF-8, surrogates, control characters other than tab,
// line feed and carriage return, U+FFFE and U+FFFF) replaced by U+FFFD, one
// for each byte; the same text when it is clean.
std::string ToXmlCharacters(const std::string& text);

// Prepares a document for saving. libxml2 writes text and attribute bytes as
// they are, and an element whose name is empty as "<>...</>", so either
// would make the saved file unreadable as XML. Text is made of XML
// characters (ToXmlCharacters) and every element with an empty name is
// dissolved into its content, which keeps its place. The dissolved elements
// are appended to removed (already freed: for forgetting pointers only).
void MakeWellFormed(xmlDoc* doc, std::vector<const xmlNode*>* removed);

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_WELL_FORMED_H_
