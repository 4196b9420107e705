#ifndef KAV_EPUB_PLATFORM_MOBI_MOBI_BOOK_H_
#define KAV_EPUB_PLATFORM_MOBI_MOBI_BOOK_H_

#include <mobi.h>

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
  int Open(const char* path);
  // Releases the book; harmless when none is open.
  void Close();
  bool IsOpen() const { return rawml_ != nullptr; }
  const MOBIRawml* Rawml() const { return rawml_; }

  // malloc'ed UTF-8 strings, null when no book is open. A book without a
  // title or author gives "".
  char* Title() const;
  char* Author() const;
  // malloc'ed name of the cover picture as ExtractHtml writes it; null when
  // the book names no cover or the named resource is not a picture.
  char* CoverFileName() const;

 private:
  MOBIData* data_ = nullptr;
  MOBIRawml* rawml_ = nullptr;
};

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_MOBI_BOOK_H_
