#include "cli/progress_bar.h"

#include <unistd.h>

#include "cli/interrupts.h"
#include "convert/progress_callback.h"

namespace kavcli {

namespace {

constexpr int kBarWidth = 30;

}  // namespace

ProgressBar::ProgressBar(const char* label, bool quiet)
    : label_(label), visible_(!quiet && isatty(STDERR_FILENO)), drawn_(false), cancelled_(false) {}

ProgressBar::~ProgressBar() { Finish(); }

int ProgressBar::Report(void* user, int done, int total) {
  ProgressBar* bar = static_cast<ProgressBar*>(user);
  bar->Show(done, total);
  if (!Interrupted()) return 0;
  bar->cancelled_ = true;
  return KAV_PROGRESS_CANCEL;
}

void ProgressBar::Show(int done, int total) {
  if (!visible_ || total <= 0) return;
  if (done < 0) done = 0;
  if (done > total) done = total;
  int filled = static_cast<int>(static_cast<long long>(done) * kBarWidth / total);
  int percent = static_cast<int>(static_cast<long long>(done) * 100 / total);
  char bar[kBarWidth + 1];
  for (int i = 0; i < kBarWidth; ++i) bar[i] = i < filled ? '#' : '.';
  bar[kBarWidth] = '\0';
  fprintf(stderr, "\r%s [%s] %3d%% (%d/%d)", label_, bar, percent, done, total);
  fflush(stderr);
  drawn_ = true;
}

void ProgressBar::Finish() {
  if (!drawn_) return;
  fprintf(stderr, "\r\033[K");
  fflush(stderr);
  drawn_ = false;
}

}  // namespace kavcli
