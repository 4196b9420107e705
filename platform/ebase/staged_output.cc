#include "platform/ebase/staged_output.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <utility>

namespace kav_ebase {

namespace {

constexpr int kNameAttempts = 64;

// A name suffix that differs between processes, calls and attempts.
std::string UniqueSuffix() {
  static std::atomic<unsigned long> counter{0};
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  char text[64];
  snprintf(text, sizeof text, ".part-%lx-%lx-%lx", static_cast<unsigned long>(getpid()),
           counter.fetch_add(1), static_cast<unsigned long>(now.tv_nsec));
  return text;
}

}  // namespace

StagedOutput::StagedOutput(std::string target) : target_(std::move(target)) {}

StagedOutput::~StagedOutput() {
  if (!temporary_.empty() && !committed_) unlink(temporary_.c_str());
}

bool StagedOutput::Reserve() {
  // Only a regular file may be replaced: renaming over /dev/full or a
  // directory's entry for a device would destroy something that is no book.
  struct stat existing {};
  if (stat(target_.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode)) return false;
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    std::string candidate = target_ + UniqueSuffix();
    // open with 0666 rather than mkstemp (0600): the book then gets the
    // permissions the user's umask gives any new file.
    const int fd = open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0) {
      close(fd);
      temporary_ = std::move(candidate);
      return true;
    }
    if (errno != EEXIST) return false;
  }
  return false;
}

bool StagedOutput::Commit() {
  if (temporary_.empty() || rename(temporary_.c_str(), target_.c_str()) != 0) return false;
  committed_ = true;
  return true;
}

}  // namespace kav_ebase
