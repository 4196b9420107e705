#ifndef KAV_EPUB_CONVERT_EPUB_MANAGEMENT_H_
#define KAV_EPUB_CONVERT_EPUB_MANAGEMENT_H_

#include <cstddef>
#include <string>

#include "convert/progress_callback.h"
#include "service/kav_export.h"

class EpubBase;

// Converts a whole file into a book in one call, reporting progress. Calling
// order: Init, then TXT2Epub or Mobi2Epub (when Init returned 0), then
// ClearData always. Owns its builder.
// How accessible a MOBI conversion makes its book: not at all, or as
// KavEpubSetAccessible does, with a host's conformance claim (none: "").
struct MobiAccess {
  bool on = false;
  std::string conformsTo;
};

class KAV_EXPORT EpubManagement {
 public:
  EpubManagement();
  ~EpubManagement();  // releases the builder; its working files stay
  EpubManagement(const EpubManagement&) = delete;
  EpubManagement& operator=(const EpubManagement&) = delete;

  // Releases the builder but keeps the pointer: the object must be neither
  // used nor destroyed afterwards.
  void Destory();

  // Creates the builder; title and author are deliberately not kept. 0.
  int Init(const char* workDir, const char* title, const char* author);
  // Plain text, sixty lines a page; progress (page, pages + 1).
  int TXT2Epub(const char* txtPath, const char* epubPath, void* user, ProgressCallback progress);
  // A MOBI book through libKav_Mobi; progress in tenths.
  int Mobi2Epub(const char* mobiPath, const char* epubPath, void* user, ProgressCallback progress);
  // The same; accessible makes it an accessible book (KavEpubSetAccessible):
  // the language its MOBI header declares, else one guessed from its text.
  int Mobi2Epub(const char* mobiPath, const char* epubPath, void* user, ProgressCallback progress,
                const MobiAccess& access);
  // The same in pages of at most 256 KB, with the book's own table of
  // contents (TMobiService's GetToc) nested in the navigation document;
  // *tocFlaws (may be null) receives GetToc's count of flaws.
  int MobiPages2Epub(const char* mobiPath, const char* epubPath, void* user,
                     ProgressCallback progress, const MobiAccess& access,
                     size_t* tocFlaws);
  // Deletes the builder's working files and the scratch directory.
  int ClearData();

 private:
  int ConvertMobi(const char* mobiPath, const char* epubPath, void* user,
                  ProgressCallback progress, bool pages, const MobiAccess& access,
                  size_t* tocFlaws);
  EpubBase* epub;
  std::string workDir;
  std::string processTmpDir;
  std::string title;
  std::string author;
};

namespace kav_convert {

// A MOBI book converted in one call as the record's Mobi2Epub does it
// (accessible: as an accessible book), its scratch files removed after.
int ConvertMobiBook(const char* mobiPath, const char* epubPath, const char* workDir,
                    bool accessible, void* user, ProgressCallback progress);

}  // namespace kav_convert

// The number of 60-line pages of a text file (lines as fgets reads them,
// at most 254 bytes each); 0 when it cannot be opened.
KAV_EXPORT int GetPageNumForTXT(const char* txtPath);

#endif  // KAV_EPUB_CONVERT_EPUB_MANAGEMENT_H_
