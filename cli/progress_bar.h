#ifndef KAV_EPUB_CLI_PROGRESS_BAR_H_
#define KAV_EPUB_CLI_PROGRESS_BAR_H_

#include <cstdio>

namespace kavcli {

// A one-line progress bar on standard error, drawn only when it is a
// terminal and the user did not ask for quiet. Its Report is the library's
// progress callback; it also turns an interrupt (Ctrl-C) into a cancel.
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
  // Whether a report answered with a cancel.
  bool cancelled() const { return cancelled_; }

 private:
  const char* label_;
  bool visible_;
  bool drawn_;
  bool cancelled_;
};

// Installs handlers so that SIGINT, SIGTERM and SIGHUP ask the running
// conversion to stop instead of killing the process, so that the working
// directory is always removed.
void InstallInterruptHandlers();
bool Interrupted();

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_PROGRESS_BAR_H_
