#ifndef KAV_EPUB_PLATFORM_MOBI_HTML_EXTRACT_H_
#define KAV_EPUB_PLATFORM_MOBI_HTML_EXTRACT_H_

#include <mobi.h>

#include <string>

namespace kavmobi {

// The book's text as one UTF-8 HTML document: the single MOBI 6 part with a
// charset declaration, or the KF8 parts joined in reading order.
std::string BookHtml(const MOBIRawml& rawml);

// Writes the pictures beside htmlPath, then the HTML itself, last, so that
// a failure leaves no HTML file; 0 or KAV_MOBI_ERR_WRITE.
int ExtractBookHtml(const MOBIRawml& rawml, const std::string& htmlPath);

// The same for a book's html and pictures read past libmobi (SalvagedBook).
int ExtractHtmlAndPictures(std::string html, const MOBIPart* pictures, const std::string& htmlPath);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_HTML_EXTRACT_H_
