#include "convert/text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kav_convert {

FILE* OpenTextFile(const char* path) {
  if (path == nullptr) return nullptr;
  // Non-blocking, so that a FIFO without a writer opens at once and can be
  // turned away. A directory opens as fopen would open it; its first read
  // fails, which the readers handle.
  const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return nullptr;
  struct stat st;
  const int flags = fcntl(fd, F_GETFL);
  if (fstat(fd, &st) != 0 || !(S_ISREG(st.st_mode) || S_ISDIR(st.st_mode)) || flags < 0 ||
      fcntl(fd, F_SETFL, flags & ~O_NONBLOCK) != 0) {
    close(fd);
    return nullptr;
  }
  FILE* file = fdopen(fd, "r");
  if (file == nullptr) close(fd);
  return file;
}

}  // namespace kav_convert
