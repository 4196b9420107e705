#include "fuzz/fuzz_workdir.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "xml/xhtml1_strict_dtd.h"

namespace fs = std::filesystem;

namespace kav_fuzz {
namespace {

std::string RootFor(pid_t pid) {
  std::error_code ec;
  std::string base = "/dev/shm";
  if (!fs::is_directory(base, ec)) {
    const char* tmp = std::getenv("TMPDIR");
    base = (tmp != nullptr && *tmp != '\0') ? tmp : "/tmp";
  }
  return base + "/kav-fuzz-" + std::to_string(pid);
}

void RemoveRoot() {
  std::error_code ec;
  fs::remove_all(RootFor(getpid()), ec);
}

std::string MakeRoot() {
  std::error_code ec;
  std::string root = RootFor(getpid());
  fs::remove_all(root, ec);
  fs::create_directories(root + "/work", ec);
  std::atexit(RemoveRoot);
  return root;
}

const std::string& Root() {
  static const std::string root = MakeRoot();
  return root;
}

}  // namespace

const std::string& WorkDir() {
  static const std::string work = Root() + "/work";
  return work;
}

const std::string& FreshWorkDir() {
  std::error_code ec;
  fs::remove_all(WorkDir(), ec);
  fs::create_directories(WorkDir(), ec);
  return WorkDir();
}

void WriteBytes(const std::string& path, const uint8_t* data, size_t size) {
  std::error_code ec;
  fs::create_directories(fs::path(path).parent_path(), ec);
  FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) std::abort();  // the scratch space itself is broken
  if (size > 0) std::fwrite(data, 1, size, file);
  std::fclose(file);
}

const std::string& DtdPath() {
  // Beside the work directory, so that wiping it keeps the DTD.
  static const std::string path = [] {
    std::string dtd = Root() + "/xhtml1-strict.dtd";
    std::string text = kXhtml1StrictDtd[0];
    WriteBytes(dtd, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    return dtd;
  }();
  return path;
}

}  // namespace kav_fuzz
