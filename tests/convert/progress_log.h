#ifndef KAV_EPUB_TESTS_CONVERT_PROGRESS_LOG_H_
#define KAV_EPUB_TESTS_CONVERT_PROGRESS_LOG_H_

#include <functional>
#include <utility>
#include <vector>

using Reports = std::vector<std::pair<int, int>>;

// A host's progress callback: records each report (and shows it to probe),
// answers -2 to the one whose done value is cancelAt and `answer` to the rest.
struct ProgressLog {
  int cancelAt = -1, answer = 0;
  std::function<void(int done)> probe{};
  Reports calls{};
  static int Record(void* user, int done, int total) {
    ProgressLog* log = static_cast<ProgressLog*>(user);
    log->calls.emplace_back(done, total);
    if (log->probe) log->probe(done);
    return done == log->cancelAt ? -2 : log->answer;
  }
};

#endif  // KAV_EPUB_TESTS_CONVERT_PROGRESS_LOG_H_
