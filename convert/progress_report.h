#ifndef KAV_EPUB_CONVERT_PROGRESS_REPORT_H_
#define KAV_EPUB_CONVERT_PROGRESS_REPORT_H_

#include "convert/progress_callback.h"

namespace kav_convert {

// Calls the host's callback; a host that passed none gets no reports and
// never cancels.
inline int ReportProgress(ProgressCallback progress, void* user, int done, int total) {
  if (progress == nullptr) return 0;
  return progress(user, done, total);
}

inline bool IsCancel(int answer) { return answer == KAV_PROGRESS_CANCEL; }

}  // namespace kav_convert

#endif  // KAV_EPUB_CONVERT_PROGRESS_REPORT_H_
