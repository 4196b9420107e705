#include "cli/book_kind.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstring>
#include <map>

namespace kavcli {

namespace {

constexpr off_t kTypeOffset = 60;

}  // namespace

bool HasMobiHeader(const std::string& path) {
  // Without blocking: a FIFO or a device given as a book is no book.
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat info = {};
  char type[8] = {};
  const bool read = fstat(fd, &info) == 0 && S_ISREG(info.st_mode) &&
                    pread(fd, type, sizeof type, kTypeOffset) == static_cast<ssize_t>(sizeof type);
  close(fd);
  return read && (memcmp(type, "BOOKMOBI", 8) == 0 || memcmp(type, "TEXtREAd", 8) == 0);
}

std::string Extension(const std::string& path) {
  const size_t dot = path.rfind('.');
  const size_t slash = path.rfind('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  std::string extension = path.substr(dot);
  for (char& c : extension) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return extension;
}

std::string BookName(const std::string& input) {
  return input.substr(0, input.size() - Extension(input).size()) + ".epub";
}

const char* CommandForExtension(const std::string& path) {
  static const std::map<std::string, const char*> commands = {
      {".txt", "txt"},   {".html", "html"}, {".htm", "html"}, {".mobi", "mobi"},
      {".azw3", "mobi"}, {".azw", "mobi"},  {".prc", "mobi"}, {".pdb", "mobi"},
  };
  auto found = commands.find(Extension(path));
  return found == commands.end() ? nullptr : found->second;
}

const char* CommandForBook(const std::string& path) {
  const std::string extension = Extension(path);
  if (extension == ".azw" || extension == ".prc" || extension == ".pdb") {
    return HasMobiHeader(path) ? "mobi" : nullptr;
  }
  return CommandForExtension(path);
}

}  // namespace kavcli
