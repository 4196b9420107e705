#ifndef KAV_EPUB_SERVICE_KAV_EXPORT_H_
#define KAV_EPUB_SERVICE_KAV_EXPORT_H_

// Everything in libKav_Epub is hidden unless marked with KAV_EXPORT.
#if defined(__GNUC__)
#define KAV_EXPORT __attribute__((visibility("default")))
#else
#define KAV_EXPORT
#endif

#endif  // KAV_EPUB_SERVICE_KAV_EXPORT_H_
