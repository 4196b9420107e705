#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "cli/batch_plan.h"
#include "cli/commands.h"
#include "cli/interrupts.h"
#include "cli/result_messages.h"
#include "cli/work_dir.h"
#include "platform/tool/kav_tool.h"

namespace kavcli {

namespace {

constexpr int kMaxJobs = 256;
// How long workers have to stop on their own after an interrupt is passed
// on to them before they are killed.
constexpr std::chrono::milliseconds kStopGrace(500);
// How often the batch looks again while workers are stopping.
constexpr int kStopPoll = 20;

struct Failure {
  std::string input;
  std::string reason;
};

struct Tally {
  int converted = 0;
  int skipped = 0;
  int interrupted = 0;
  std::vector<Failure> failures;
  // Books made with a warning (a damaged table of contents), and what it said.
  std::vector<Failure> warnings;
};

bool MakeDirs(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  return std::filesystem::is_directory(path, error);
}

std::string Parent(const std::string& path) {
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

bool UpToDate(const std::string& book, const timespec& inputChanged) {
  struct stat info = {};
  return stat(book.c_str(), &info) == 0 && Later(info.st_mtim, inputChanged);
}

// The last line the worker wrote on standard error, without the tool's name.
std::string LastMessage(const std::string& errorFile) {
  std::string text;
  if (FILE* file = fopen(errorFile.c_str(), "r")) {
    char line[1024];
    while (fgets(line, sizeof line, file) != nullptr) {
      std::string current = line;
      while (!current.empty() && (current.back() == '\n' || current.back() == '\r')) {
        current.pop_back();
      }
      // A progress bar's carriage returns leave only what follows the last.
      current =
          current.substr(current.rfind('\r') == std::string::npos ? 0 : current.rfind('\r') + 1);
      if (!current.empty()) text = current;
    }
    fclose(file);
  }
  const std::string prefix = "kav-epub: ";
  return text.compare(0, prefix.size(), prefix) == 0 ? text.substr(prefix.size()) : text;
}

class Batch {
 public:
  Batch(std::string inputDir, std::string outputDir, int jobs, bool quiet)
      : inputDir_(std::move(inputDir)),
        outputDir_(std::move(outputDir)),
        jobs_(jobs),
        bar_("batch", quiet) {}

  // Converts the items that need it; false when the batch was interrupted.
  bool Run(const std::vector<BatchItem>& items, Tally* tally) {
    std::vector<const BatchItem*> queue;
    for (const BatchItem& item : items) {
      if (UpToDate(outputDir_ + "/" + item.output, item.changed)) {
        ++tally->skipped;
      } else {
        queue.push_back(&item);
      }
    }
    if (!work_.ok()) {
      for (const BatchItem* item : queue) {
        tally->failures.push_back({item->input, "cannot make a working directory"});
      }
      return true;
    }
    const int total = static_cast<int>(queue.size());
    int done = 0;
    size_t next = 0;
    bool passedOn = false;
    std::chrono::steady_clock::time_point killAt;
    // Looks before each wait, so that a signal that comes in between ends
    // the wait at once.
    SignalGate gate;
    for (;;) {
      while (!Interrupted() && next < queue.size() && static_cast<int>(running_.size()) < jobs_) {
        Start(*queue[next++], gate, tally, &done);
      }
      if (running_.empty()) break;
      bar_.Show(done, total);
      if (Interrupted()) {
        // A Ctrl-C reaches the workers too; a signal sent to this process
        // alone is passed on, so that each stops and cleans up; the ones
        // still there after a grace are killed.
        const bool late = passedOn && std::chrono::steady_clock::now() >= killAt;
        if (!passedOn) killAt = std::chrono::steady_clock::now() + kStopGrace;
        for (const auto& worker : running_) {
          if (!passedOn || late) kill(worker.first, late ? SIGKILL : InterruptSignal());
        }
        passedOn = true;
      }
      int status = 0;
      const pid_t pid = waitpid(-1, &status, WNOHANG);
      if (pid < 0 && errno != EINTR) break;
      auto worker = running_.find(pid);
      if (pid <= 0 || worker == running_.end()) {
        if (pid <= 0) gate.Pause(Interrupted() ? kStopPoll : -1);
        continue;
      }
      Finish(pid, status, *worker->second, tally);
      running_.erase(worker);
      ++done;
    }
    bar_.Finish();
    return !Interrupted();
  }

 private:
  std::string ErrorFile(pid_t pid) const {
    return std::string(work_.path()) + "/" + std::to_string(pid) + ".err";
  }
  // The worker's own temporary directory, so that the working files of a
  // worker that was killed are still removed.
  std::string WorkerTemp(pid_t pid) const {
    return std::string(work_.path()) + "/" + std::to_string(pid) + ".tmp";
  }

  void Start(const BatchItem& item, const SignalGate& gate, Tally* tally, int* done) {
    const std::string input = inputDir_ + "/" + item.input;
    const std::string book = outputDir_ + "/" + item.output;
    ToolError error;
    error.subject = Parent(book);
    error.kind = ToolFailure::kMakeDirectory;
    pid_t pid = -1;
    if (MakeDirs(Parent(book))) {
      error.subject = input;
      error.kind = ToolFailure::kStartWorker;
      pid = fork();
    }
    if (pid == 0) {
      // The worker: its messages go to a file of its own, read when it ends.
      gate.OpenBeforeExec();
      const int err = open(ErrorFile(getpid()).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      const int null = open("/dev/null", O_RDWR);
      if (err >= 0) dup2(err, STDERR_FILENO);
      if (null >= 0) dup2(null, STDIN_FILENO), dup2(null, STDOUT_FILENO);
      const std::string temp = WorkerTemp(getpid());
      if (mkdir(temp.c_str(), 0700) == 0) setenv("TMPDIR", temp.c_str(), 1);
      const char* argv[] = {
          "kav-epub", item.command.c_str(), input.c_str(), book.c_str(), "--quiet", nullptr};
      execv("/proc/self/exe", const_cast<char* const*>(argv));
      fprintf(stderr, "kav-epub: %s\n", ToolMessage(error).c_str());
      _exit(kExitFailed);
    }
    if (pid < 0) {
      tally->failures.push_back({item.input, ToolMessage(error)});
      ++*done;
      return;
    }
    running_[pid] = &item;
  }

  void Finish(pid_t pid, int status, const BatchItem& item, Tally* tally) {
    const std::string errorFile = ErrorFile(pid);
    // The worker's line names the input, which the summary's line does.
    std::string message = LastMessage(errorFile);
    const std::string input = inputDir_ + "/" + item.input + ": ";
    if (message.compare(0, input.size(), input) == 0) message.erase(0, input.size());
    unlink(errorFile.c_str());
    KavDeleteDir(WorkerTemp(pid).c_str());
    const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (signal != 0) {
      // A worker writes its book under "BOOK.part-PID-", renamed when whole.
      char staged[64];
      snprintf(staged, sizeof staged, ".part-%lx-", static_cast<unsigned long>(pid));
      RemoveFilesStartingWith(outputDir_ + "/" + item.output + staged);
    }
    if (exitStatus == kExitOk) {
      ++tally->converted;
      // A worker that succeeds writes only a warning, if anything.
      const std::string label = "warning: ";
      if (message.compare(0, label.size(), label) == 0) message.erase(0, label.size());
      if (!message.empty()) tally->warnings.push_back({item.input, message});
    } else if (Interrupted() && (signal != 0 || exitStatus > 128)) {
      // Stopped with the batch; a worker stopped on its own is a failure.
      ++tally->interrupted;
    } else {
      ToolError error;
      error.kind = signal != 0 ? ToolFailure::kWorkerKilled : ToolFailure::kWorkerSilent;
      error.byte = signal;
      const bool explained = signal == 0 && !message.empty();
      tally->failures.push_back({item.input, explained ? message : ToolMessage(error)});
    }
  }

  std::string inputDir_;
  std::string outputDir_;
  int jobs_;
  ProgressBar bar_;
  WorkDir work_;
  std::map<pid_t, const BatchItem*> running_;
};

void PrintSummary(const Tally& tally, bool interrupted) {
  printf("converted %d, skipped %d, failed %d", tally.converted, tally.skipped,
         static_cast<int>(tally.failures.size()));
  if (interrupted) printf(", interrupted (not converted) %d", tally.interrupted);
  printf("\n");
  for (const Failure& failure : tally.failures) {
    printf("failed: %s: %s\n", failure.input.c_str(), failure.reason.c_str());
  }
  for (const Failure& warning : tally.warnings) {
    printf("warning: %s: %s\n", warning.input.c_str(), warning.reason.c_str());
  }
  fflush(stdout);
}

int Usage(const ToolError* error) {
  if (error != nullptr) fprintf(stderr, "kav-epub batch: %s\n", ToolMessage(*error).c_str());
  fprintf(stderr, "usage: kav-epub batch INPUT_DIR OUTPUT_DIR [OPTIONS] (--help lists them)\n");
  return kExitUsage;
}

}  // namespace

int RunBatch(const Options& options) {
  if (options.positional.size() != 2) return Usage(nullptr);
  ToolError error;
  long online = sysconf(_SC_NPROCESSORS_ONLN);
  int jobs = static_cast<int>(online < 1 ? 1 : online > kMaxJobs ? kMaxJobs : online);
  if (options.Has("jobs")) {
    error.subject = options.Get("jobs", "");
    char* end = nullptr;
    const long value = strtol(error.subject.c_str(), &end, 10);
    error.kind = ToolFailure::kBadJobs;
    if (error.subject.empty() || *end != '\0' || value < 1 || value > kMaxJobs) {
      return Usage(&error);
    }
    jobs = static_cast<int>(value);
  }
  int shard = 1, shards = 1;
  if (options.Has("shard") && !ParseShard(options.Get("shard", ""), &shard, &shards)) {
    error.kind = ToolFailure::kBadShard;
    error.subject = options.Get("shard", "");
    return Usage(&error);
  }
  const std::string inputDir = options.positional[0];
  const std::string outputDir = options.positional[1];
  std::vector<BatchItem> found, items;
  bool ready = PlanBatch(inputDir, &found, &error);
  if (ready && !MakeDirs(outputDir)) {
    error.kind = ToolFailure::kMakeDirectory;
    error.subject = outputDir;
    ready = false;
  }
  if (!ready) {
    fprintf(stderr, "kav-epub: %s\n", ToolMessage(error).c_str());
    return kExitFailed;
  }
  for (const BatchItem& item : found) {
    if (InShard(item.input, shard, shards)) items.push_back(item);
  }
  Tally tally;
  Batch batch(inputDir, outputDir, jobs, options.quiet);
  const bool finished = batch.Run(items, &tally);
  PrintSummary(tally, !finished);
  if (!finished) return InterruptedStatus();
  return tally.failures.empty() ? kExitOk : kExitFailed;
}

}  // namespace kavcli
