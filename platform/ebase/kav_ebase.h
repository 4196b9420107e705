#ifndef KAV_EPUB_PLATFORM_EBASE_KAV_EBASE_H_
#define KAV_EPUB_PLATFORM_EBASE_KAV_EBASE_H_

#ifdef __cplusplus
extern "C" {
#endif

// Failure codes of Kav_CreateEpubFromDir.
#define KAV_EBASE_ERR_ARGUMENT 520  // bookDir or epubPath is null or empty
#define KAV_EBASE_ERR_BOOK_DIR 521  // the book directory is missing, not a directory or unreadable
#define KAV_EBASE_ERR_NO_MIMETYPE 522  // the book directory has no regular file "mimetype"
#define KAV_EBASE_ERR_OUTPUT 523       // epubPath is no regular file, or nothing can be made beside it
#define KAV_EBASE_ERR_ARCHIVE 524      // the archive could not be written
#define KAV_EBASE_ERR_RENAME 525       // the finished archive could not be renamed over epubPath
#define KAV_EBASE_ERR_MEMORY 526       // out of memory

// Packs the book directory bookDir into the EPUB container epubPath:
// "mimetype" first and stored, every other file below bookDir after it,
// deflated, in a fixed order. The archive is written beside epubPath and
// renamed over it at the end, so a failure never leaves a partial book and
// keeps an earlier file intact. 0 on success, a nonzero code otherwise.
__attribute__((visibility("default"))) int Kav_CreateEpubFromDir(const char* bookDir,
                                                                 const char* epubPath);

#ifdef __cplusplus
}
#endif

#endif  // KAV_EPUB_PLATFORM_EBASE_KAV_EBASE_H_
