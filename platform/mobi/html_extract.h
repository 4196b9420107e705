#ifndef KAV_EPUB_PLATFORM_MOBI_HTML_EXTRACT_H_
#define KAV_EPUB_PLATFORM_MOBI_HTML_EXTRACT_H_

#include <mobi.h>

#include <string>

#include "platform/mobi/book_toc.h"

namespace kavmobi {

// The book's text as one UTF-8 HTML document: the single MOBI 6 part with a
// charset declaration, or the KF8 parts joined in reading order.
// With toc, the KF8 parts are parted by <mbp:pagebreak/> and *toc receives
// the book's table of contents (NcxToc, else MadeToc), its places in the
// returned HTML.
// The NCX index is tocSource's when given.
std::string BookHtml(const MOBIRawml& rawml, BookToc* toc = nullptr,
                     const MOBIRawml* tocSource = nullptr);

// Writes the pictures beside htmlPath, then the HTML itself, last, so that
// a failure leaves no HTML file; 0 or KAV_MOBI_ERR_WRITE.
int ExtractBookHtml(const MOBIRawml& rawml, const std::string& htmlPath, BookToc* toc = nullptr,
                    const MOBIRawml* tocSource = nullptr);

// The same for a book's html and pictures read past libmobi (SalvagedBook);
// with toc, a table made from the text (MadeToc).
int ExtractHtmlAndPictures(std::string html, const MOBIPart* pictures, const std::string& htmlPath,
                           BookToc* toc = nullptr);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_HTML_EXTRACT_H_
