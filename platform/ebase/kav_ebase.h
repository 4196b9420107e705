#ifndef KAV_EPUB_PLATFORM_EBASE_KAV_EBASE_H_
#define KAV_EPUB_PLATFORM_EBASE_KAV_EBASE_H_

#ifdef __cplusplus
extern "C" {
#endif

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
