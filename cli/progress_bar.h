#ifndef KAV_EPUB_CLI_PROGRESS_BAR_H_
#define KAV_EPUB_CLI_PROGRESS_BAR_H_

#include <cstdio>

namespace kavcli {

// A one-line progress bar on standard error, drawn only when it is a
// terminal and the user did not ask for quiet. Its Report is the library's
// progress callback; it also turns an interrupt into a cancel.
class ProgressBar {
 public:
  ProgressBar(const char* label, bool quiet);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;

  // The library's ProgressCallback, with user = this.
  static int Report(void* user, int done, int total);
  void Show(int done, int total);
  // Clears the line (before a message is printed).
  void Finish();
  // Takes the line as holding a bar (drawn by another process) if bars are drawn.
  void TakeLine() { drawn_ = visible_; }
  // Whether a report answered with a cancel.
  bool cancelled() const { return cancelled_; }

 private:
  const char* label_;
  bool visible_;
  bool drawn_;
  bool cancelled_;
};

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_PROGRESS_BAR_H_
