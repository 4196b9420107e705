#include <errno.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/commands.h"
#include "cli/interrupts.h"
#include "cli/result_messages.h"
#include "cli/work_dir.h"
#include "platform/tool/kav_tool.h"

namespace kavcli {

namespace {

bool Fail(const ToolError& error) {
  fprintf(stderr, "kav-epub: %s\n", ToolMessage(error).c_str());
  return false;
}

bool Fail(ToolFailure kind, const std::string& subject, int byte = 0) {
  ToolError error;
  error.kind = kind;
  error.subject = subject;
  error.byte = byte;
  return Fail(error);
}

std::string Folder(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

// What is wrong with an input, said before any work starts. Opened without
// blocking, so that a FIFO is refused rather than waited on.
bool CheckInput(const std::string& input) {
  struct stat info = {};
  if (stat(input.c_str(), &info) != 0) {
    return errno == ENOENT ? Fail(ToolFailure::kNoSuchFile, input)
                           : Fail(ToolFailure::kUnreadable, input, errno);
  }
  if (S_ISDIR(info.st_mode)) return Fail(ToolFailure::kIsDirectory, input);
  if (!S_ISREG(info.st_mode)) return Fail(ToolFailure::kNotRegularFile, input);
  const int fd = open(input.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return Fail(ToolFailure::kUnreadable, input, errno);
  close(fd);
  return true;
}

bool CheckOutput(const std::string& output, const std::vector<std::string>& inputs) {
  struct stat info = {};
  const std::string folder = Folder(output);
  if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
    ToolError error;
    error.kind = ToolFailure::kNoOutputFolder;
    error.subject = output;
    error.encoding = folder;
    return Fail(error);
  }
  if (stat(output.c_str(), &info) != 0) return true;
  if (!S_ISREG(info.st_mode)) return Fail(ToolFailure::kOutputNotFile, output);
  for (const std::string& input : inputs) {
    struct stat read = {};
    if (stat(input.c_str(), &read) == 0 && read.st_dev == info.st_dev &&
        read.st_ino == info.st_ino) {
      return Fail(ToolFailure::kOverInput, output);
    }
  }
  return true;
}

// In the conversion's process: the outcome as the user sees it.
int Conclude(int code, ProgressBar* bar, const Subjects& subjects, const char* staged) {
  bar->Finish();
  if (code == kToolFailureReported) return kExitFailed;
  if (code == 0) {
    if (KavIsFileExists(staged)) return kExitOk;
    fprintf(stderr, "kav-epub: %s: no book was written\n", subjects.output.c_str());
    return kExitFailed;
  }
  fprintf(stderr, "kav-epub: %s\n", ResultLine(code, subjects).c_str());
  return kExitFailed;
}

// Whether a directory's disk has less room than a book of inputs could
// need. The failed conversion has removed what it wrote by now, so the room
// it ran out of is free again: the measure is what a book can take, some
// twice its inputs (MOBI text is compressed) and a margin.
bool DiskFull(const std::string& directory, const std::vector<std::string>& inputs) {
  constexpr unsigned long long kMargin = 1 << 20;
  unsigned long long need = kMargin;
  for (const std::string& input : inputs) {
    struct stat info = {};
    if (stat(input.c_str(), &info) == 0)
      need += 2ull * static_cast<unsigned long long>(info.st_size);
  }
  struct statvfs disk = {};
  return statvfs(directory.c_str(), &disk) == 0 &&
         static_cast<unsigned long long>(disk.f_bavail) * disk.f_frsize < need;
}

// The conversion's process: it ends when its parent does, ignores the
// interrupt signals (the parent stops it) and exits with the status.
[[noreturn]] void Convert(pid_t parent, const SignalGate& gate, const Conversion& convert,
                          const char* workDir, const std::string& staged, ProgressBar* bar,
                          const std::vector<std::string>& inputs, const Subjects& subjects) {
  gate.OpenInChild();
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(kExitFailed);
  // Past a file-size limit a write fails, and the library says which.
  signal(SIGXFSZ, SIG_IGN);
  TEpubService* service = CreateEpubService();
  int code = kToolFailureReported;
  if (service == nullptr) {
    fprintf(stderr, "kav-epub: out of memory\n");
  } else {
    code = convert(service, workDir, staged.c_str(), bar);
    FreeEpubService(service);
  }
  Subjects said = subjects;
  if (code != 0 && code != kToolFailureReported) {
    said.outputDiskFull = DiskFull(Folder(subjects.output), inputs);
    said.workDiskFull = DiskFull(subjects.work, inputs);
  }
  const int status = Conclude(code, bar, said, staged.c_str());
  // exit rather than _exit: buffers are flushed and leak checkers look.
  exit(status);
}

}  // namespace

int RunConversion(const char* label, bool quiet, const std::vector<std::string>& inputs,
                  const char* outputPath, const Conversion& convert) {
  for (const std::string& input : inputs) {
    if (!CheckInput(input)) return kExitFailed;
  }
  const std::string output = outputPath;
  if (!CheckOutput(output, inputs)) return kExitFailed;
  WorkDir work;
  if (!work.ok()) {
    fprintf(stderr, "kav-epub: cannot make a working directory\n");
    return kExitFailed;
  }
  // The book is made under a name of this process's own and renamed when
  // whole; a stopped conversion's pieces all start with that name.
  char suffix[32];
  snprintf(suffix, sizeof suffix, ".part-%lx-kav", static_cast<unsigned long>(getpid()));
  const std::string staged = output + suffix;
  RemoveFilesStartingWith(staged);
  const Subjects subjects = {inputs.empty() ? "" : inputs[0], output, Folder(work.path())};
  ProgressBar bar(label, quiet);
  fflush(nullptr);
  pid_t child;
  int status = 0;
  int forkError = 0;
  {
    SignalGate gate;
    const pid_t parent = getpid();
    child = fork();
    forkError = errno;
    if (child == 0) Convert(parent, gate, convert, work.path(), staged, &bar, inputs, subjects);
    // Looks before each wait, so that a signal that comes in between
    // ends the wait at once.
    bool killed = false;
    while (child > 0) {
      if (Interrupted() && !killed) killed = kill(child, SIGKILL) == 0;
      const pid_t ended = waitpid(child, &status, WNOHANG);
      if (ended == child || (ended < 0 && errno != EINTR)) break;
      gate.Pause(-1);
    }
  }
  if (child < 0) {
    fprintf(stderr, "kav-epub: cannot start the conversion (%s)\n", strerror(forkError));
    return kExitFailed;
  }
  if (!Interrupted() && WIFEXITED(status) && WEXITSTATUS(status) == kExitOk) {
    // Only a regular file may be replaced, as the library's packer holds.
    struct stat info = {};
    if (stat(output.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
      Fail(ToolFailure::kOutputNotFile, output);
    } else if (rename(staged.c_str(), output.c_str()) != 0) {
      Fail(ToolFailure::kReplaceOutput, output, errno);
    } else {
      return kExitOk;
    }
    RemoveFilesStartingWith(staged);
    return kExitFailed;
  }
  RemoveFilesStartingWith(staged);
  if (!Interrupted() && WIFEXITED(status)) return WEXITSTATUS(status);
  // The process may have left a bar on the line.
  bar.TakeLine();
  bar.Finish();
  if (Interrupted()) {
    fprintf(stderr, "kav-epub: interrupted; no book was written\n");
    return InterruptedStatus();
  }
  ToolError error;
  error.kind = ToolFailure::kWorkerKilled;
  error.byte = WTERMSIG(status);
  Fail(error);
  return kExitFailed;
}

}  // namespace kavcli
