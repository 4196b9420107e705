#ifndef KAV_EPUB_PLATFORM_MOBI_MOBI_BOOK_H_
#define KAV_EPUB_PLATFORM_MOBI_MOBI_BOOK_H_

#include <mobi.h>

#include <memory>
#include <string>

#include "platform/mobi/book_toc.h"
#include "platform/mobi/salvaged_book.h"

namespace kavmobi {

// One MOBI 6, KF8 or joint MOBI 6 + KF8 book, loaded and parsed into HTML
// parts and resources by libmobi. Joint files are read through their KF8 half.
class MobiBook {
 public:
  MobiBook() = default;
  ~MobiBook() { Close(); }
  MobiBook(const MobiBook&) = delete;
  MobiBook& operator=(const MobiBook&) = delete;

  // Loads and parses the whole book, so that every failure, DRM included,
  // shows here rather than halfway through writing; 0 or a KAV_MOBI_ERR code.
  // A book whose structure libmobi cannot rebuild is read from its text
  // records (SalvagedBook); only one without readable text fails then.
  int Open(const char* path);
  // Releases the book; harmless when none is open.
  void Close();
  bool IsOpen() const { return rawml_ != nullptr || salvaged_ != nullptr; }
  // Null for a salvaged book.
  const MOBIRawml* Rawml() const { return rawml_; }

  // Before Open: whether to read the book's table of contents, which
  // ExtractHtml then gives places in the HTML (and marks the KF8 files'
  // starts with page breaks); off unless set.
  void SetReadToc(bool on) { readToc_ = on; }
  // Before Open: a MOBI 6 book's links rebuilt by libmobi itself, as
  // ParseMobi6Rawml does faster; for comparisons.
  void SetLibmobiLinks(bool on) { libmobiLinks_ = on; }
  // Writes the HTML and its pictures (ExtractBookHtml); 0 or a KAV_MOBI_ERR code.
  int ExtractHtml(const std::string& htmlPath);
  // The table ExtractHtml found; empty before it, or without SetReadToc.
  const BookToc& Toc() const { return toc_; }

  // malloc'ed UTF-8 strings, null when no book is open. A book without a
  // title or author gives "".
  char* Title() const;
  char* Author() const;
  // malloc'ed language the book declares (EXTH 524, else the header's
  // locale), as libmobi spells it ("en-us"); null when it declares none.
  char* Language() const;
  // malloc'ed name of the cover picture as ExtractHtml writes it; null when
  // the book names no cover or the named resource is not a picture.
  char* CoverFileName() const;

 private:
  // Reads the loaded book past libmobi's failed parse; 0 or KAV_MOBI_ERR_NO_TEXT.
  int Salvage();
  // The pictures (and for a parsed book the other resources), linked.
  const MOBIPart* Resources() const;

  MOBIData* data_ = nullptr;
  MOBIRawml* rawml_ = nullptr;
  // A MOBI 6 book's NCX index, read without rebuilding the text.
  MOBIRawml* tocRawml_ = nullptr;
  std::unique_ptr<SalvagedBook> salvaged_;  // instead of rawml_
  bool readToc_ = false;
  bool libmobiLinks_ = false;
  // An index that libmobi could not read counts as one flaw of the table.
  size_t unreadToc_ = 0;
  BookToc toc_;
};

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_MOBI_BOOK_H_
