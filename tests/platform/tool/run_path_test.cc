#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "support/test_support.h"

namespace {

struct ProbeResult {
  int status;
  std::string errors;
};

// Runs the probe on library from dir with an empty environment (so no
// LD_LIBRARY_PATH) and collects what it wrote to stderr.
ProbeResult RunProbe(const std::string& dir, const std::string& library) {
  int pipeFds[2];
  if (pipe(pipeFds) != 0) return {-1, "pipe failed"};
  pid_t child = fork();
  if (child == 0) {
    dup2(pipeFds[1], STDERR_FILENO);
    close(pipeFds[0]);
    close(pipeFds[1]);
    char* const argv[] = {const_cast<char*>(KAV_DLOPEN_PROBE), const_cast<char*>(library.c_str()),
                          const_cast<char*>("CreateEpubService"), nullptr};
    char* const envp[] = {nullptr};
    if (chdir(dir.c_str()) == 0) execve(argv[0], argv, envp);
    _exit(127);
  }
  close(pipeFds[1]);
  ProbeResult result{-1, ""};
  char buffer[512];
  ssize_t got;
  while ((got = read(pipeFds[0], buffer, sizeof(buffer))) > 0) result.errors.append(buffer, got);
  close(pipeFds[0]);
  int status = 0;
  if (child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status)) {
    result.status = WEXITSTATUS(status);
  }
  return result;
}

std::string BuildDir() {
  const char* fromCtest = getenv("KAV_BUILD_DIR");
  return fromCtest != nullptr && fromCtest[0] != '\0' ? fromCtest : KAV_BINARY_DIR;
}

TEST(RunPath, EpubLibraryFindsItsCompanionsBesideItself) {
  kavtest::TempDir elsewhere;
  ProbeResult loaded = RunProbe(elsewhere.path(), BuildDir() + "/libKav_Epub.so");
  EXPECT_EQ(0, loaded.status) << loaded.errors;
}

TEST(RunPath, EpubLibraryAloneCannotFindItsCompanions) {
  // The same library copied away from its companions fails to load, so the
  // success above owes nothing to the system's search path.
  kavtest::TempDir elsewhere;
  const std::string lonely = elsewhere / "libKav_Epub.so";
  kavtest::WriteFile(lonely, kavtest::ReadFile(BuildDir() + "/libKav_Epub.so"));
  ProbeResult loaded = RunProbe(elsewhere.path(), lonely);
  EXPECT_EQ(1, loaded.status);
  EXPECT_NE(std::string::npos, loaded.errors.find("libKav_")) << loaded.errors;
}

}  // namespace
