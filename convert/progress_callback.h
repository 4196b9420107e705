#ifndef KAV_EPUB_CONVERT_PROGRESS_CALLBACK_H_
#define KAV_EPUB_CONVERT_PROGRESS_CALLBACK_H_

#ifdef __cplusplus
extern "C" {
#endif

// A host's progress report: units done out of total. Returning
// KAV_PROGRESS_CANCEL stops the conversion; any other value is ignored.
typedef int (*ProgressCallback)(void* user, int done, int total);

#define KAV_PROGRESS_CANCEL (-2)

#ifdef __cplusplus
}
#endif

#endif  // KAV_EPUB_CONVERT_PROGRESS_CALLBACK_H_
