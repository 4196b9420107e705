#ifndef KAV_EPUB_BUILDER_HTML_ENCODING_H_
#define KAV_EPUB_BUILDER_HTML_ENCODING_H_

// Imported pages read in their own encoding, as a browser reads them, and
// handed to the clean-up (which reads UTF-8 only) as a UTF-8 copy.

#include <string>

class EpubBase;

namespace kav_builder {

// The iconv name for an encoding label as the WHATWG Encoding Standard
// reads labels ("latin1" and "us-ascii" are windows-1252, "gb2312" is
// GB18030, "shift_jis" is Windows-31J, ...); empty for a label it does not
// know. Case and surrounding blanks do not matter.
std::string EncodingForLabel(const std::string& label);

// The label a page declares for itself in its first bytes: a <meta charset>,
// a <meta http-equiv="Content-Type" content="...; charset=...">, or an XML
// declaration's encoding; empty when it declares none.
std::string DeclaredLabel(const std::string& page);

// The encoding a page is read in, as an iconv name, and the length of a
// byte-order mark that opens it. A byte-order mark decides; else mode is
// an encoding to use for every page, or "auto": UTF-16 told by its
// zero bytes; else the page's own declaration, unless it says UTF-8 and
// the bytes are not; else UTF-8 when the bytes are; else a guess
// (uchardet), and windows-1252 when there is no telling.
std::string ChoosePageEncoding(const std::string& page, const std::string& mode, size_t* bomLength);

// bytes in encoding made UTF-8; a byte that does not decode becomes U+FFFD,
// as in a browser, and a leading U+FEFF is dropped.
std::string DecodeToUtf8(const std::string& bytes, const std::string& encoding);

// Whether the builder's host asked for pages in their own encoding, and how
// (empty: off, every page read as UTF-8). A mode is "auto", or an encoding
// label or iconv name; KAV_ERR_UNKNOWN_ENCODING for one iconv cannot read.
// Null or "" turns it off.
int SetHtmlEncoding(const EpubBase* builder, const char* mode);
std::string HtmlEncodingOf(const EpubBase* builder);
void ForgetHtmlEncoding(const EpubBase* builder);

// The file the clean-up should read for the page at src: src itself when it
// is UTF-8 already (or cannot be read: the clean-up reports that), else its
// UTF-8 copy written to copyPath. KAV_ERR_OPEN when the copy fails.
int Utf8PageFor(const std::string& src, const std::string& mode, const std::string& copyPath,
                std::string* readPath);

// The page at path read in its encoding (as chosen for mode) and made
// UTF-8; false when it cannot be read.
bool ReadPageAsUtf8(const std::string& path, const std::string& mode, std::string* text);

// Copies a style sheet to dest; one that opens with a byte-order mark or an
// @charset other than UTF-8 is made UTF-8, its @charset saying so. The
// result of CopyFile, or KAV_ERR_OPEN.
int CopyStyleSheet(const std::string& src, const std::string& dest);

}  // namespace kav_builder

#endif  // KAV_EPUB_BUILDER_HTML_ENCODING_H_
