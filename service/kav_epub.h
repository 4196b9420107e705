#ifndef KAV_EPUB_SERVICE_KAV_EPUB_H_
#define KAV_EPUB_SERVICE_KAV_EPUB_H_

// The C interface of libKav_Epub. A host takes a record from
// CreateEpubService and either builds one book page by page:
//   InitEpub -> { StartPage, AddTextLineToPage / AddImageToPage, EndPage
//                 | AddImageToEpub | AddHtmlToEpub }... -> GenerateEpub
//   -> ClearUp -> FreeEpubService
// or converts a whole file with Txt2Epub or Mobi2Epub. Every entry returns 0
// or a result code. Strings passed in are borrowed for the call.

#include "convert/progress_callback.h"
#include "service/kav_export.h"

#ifdef __cplusplus
class EpubBase;
extern "C" {
#else
typedef struct EpubBase EpubBase;
#endif

// The cell that carries the book builder; epub is null while no book is
// being built.
typedef struct TEpubData {
  EpubBase* epub;
} TEpubData;

// Twelve pointer-sized slots in this order; part of the binary interface.
typedef struct TEpubService {
  TEpubData* data;
  int (*InitEpub)(TEpubData* data, const char* workDir, const char* title, const char* author);
  void (*ClearUp)(TEpubData* data);
  int (*StartPage)(const TEpubData* data);
  int (*EndPage)(const TEpubData* data);
  int (*AddTextLineToPage)(const TEpubData* data, const char* line);
  int (*AddImageToPage)(const TEpubData* data, const char* imagePath);
  int (*AddImageToEpub)(const TEpubData* data, const char* imagePath);
  int (*GenerateEpub)(const TEpubData* data, const char* epubPath);
  int (*AddHtmlToEpub)(const TEpubData* data, const char* htmlPath);
  int (*Txt2Epub)(const char* txtPath, const char* epubPath, const char* workDir,
                  const char* title, const char* author, void* user, ProgressCallback progress);
  int (*Mobi2Epub)(const char* mobiPath, const char* epubPath, const char* workDir, void* user,
                   ProgressCallback progress);
} TEpubService;

// A new record, or null when it cannot be allocated. Released with
// FreeEpubService, never with free.
KAV_EXPORT TEpubService* CreateEpubService(void);
// Releases the record, and an active builder with its working files.
KAV_EXPORT void FreeEpubService(TEpubService* record);
// The library's one-line notice, malloc'ed; the caller frees it.
KAV_EXPORT char* GetEpubCopyright(void);

#ifdef __cplusplus
}
#endif

#endif  // KAV_EPUB_SERVICE_KAV_EPUB_H_
