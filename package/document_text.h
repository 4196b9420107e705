#ifndef KAV_EPUB_PACKAGE_DOCUMENT_TEXT_H_
#define KAV_EPUB_PACKAGE_DOCUMENT_TEXT_H_

#include <string>

// Texts shared by the package and navigation documents.

// A copy of text (null reads as "") with every "&" written as "&amp;", so
// that the text survives the entity reading of the element text setter.
std::string EscapeAmpersands(const char* text);

// "urn:uuid:id_" followed by the local time as fourteen digits
// (YYYYMMDDhhmmss); two books made in the same second share it.
std::string TimeIdentifier();

#endif  // KAV_EPUB_PACKAGE_DOCUMENT_TEXT_H_
