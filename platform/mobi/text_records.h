#ifndef KAV_EPUB_PLATFORM_MOBI_TEXT_RECORDS_H_
#define KAV_EPUB_PLATFORM_MOBI_TEXT_RECORDS_H_

#include <mobi.h>

#include <string>
#include <string_view>
#include <vector>

namespace kavmobi {

// Reading a book's records without libmobi's rebuilding of its structure, for
// books whose indices or offsets are damaged but whose text is not.

// The text records decompressed one by one and joined in order, each as far
// as it can be read. Books compressed with a dictionary (HUFF/CDIC) are read
// whole or not at all. Empty when nothing could be read.
std::string ReadTextRecords(const MOBIData& m);

// The big-endian 32-bit number at bytes, as every header field is written.
uint32_t BigEndian32(const unsigned char* bytes);

// PalmDOC decompression of one record, appended to out. A copy from before
// the record's start is skipped and the rest read on; false when there was
// one, or the record ends inside a pair.
bool DecompressPalmDoc(std::string_view record, std::string& out);

// A KF8 text's first flow, which holds the HTML, as the FDST record places
// it; the whole text when the book has no such record or it does not fit.
std::string_view HtmlFlow(const MOBIData& m, std::string_view text);

// The book's pictures from its first resource record on, numbered as libmobi
// numbers resources (uid = records after the first resource record), data
// pointing into the loaded records; linked through next. Other records only
// take their number.
std::vector<MOBIPart> PictureRecords(const MOBIData& m);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_TEXT_RECORDS_H_
