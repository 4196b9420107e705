#include "platform/ebase/deflate_ahead.h"

#include <errno.h>
#include <fcntl.h>
#include <libdeflate.h>
#include <unistd.h>
#include <zip.h>

#include <utility>

namespace kav_ebase {

namespace {

// How far the second thread may run ahead of the entry being written.
constexpr size_t kFilesAhead = 8;
constexpr size_t kBytesAhead = 32 << 20;

bool Fail(DeflatedFile* out, int zipError, int systemError) {
  out->zipError = zipError;
  out->systemError = systemError;
  return false;
}

}  // namespace

void ReleaseIfLarge(std::vector<unsigned char>& buffer) {
  if (buffer.capacity() > kKeptBufferBytes) std::vector<unsigned char>().swap(buffer);
}

bool DeflateFile(libdeflate_compressor* compressor, const std::string& path, uint64_t maxSize,
                 std::vector<unsigned char>& contents, DeflatedFile* out) {
  if (compressor == nullptr) return Fail(out, ZIP_ER_MEMORY, 0);
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return Fail(out, ZIP_ER_OPEN, errno);
  contents.resize(maxSize);
  uint64_t done = 0;
  while (done < maxSize) {
    const ssize_t got = pread(fd, contents.data() + done, maxSize - done, static_cast<off_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      const int readError = errno;
      close(fd);
      return Fail(out, ZIP_ER_READ, readError);
    }
    if (got == 0) break;  // the file has shrunk
    done += static_cast<uint64_t>(got);
  }
  close(fd);
  out->stream.resize(libdeflate_deflate_compress_bound(compressor, done));
  const size_t packedSize = libdeflate_deflate_compress(compressor, contents.data(), done,
                                                        out->stream.data(), out->stream.size());
  // The bound is never too small; a zero would mean libdeflate broke it.
  if (packedSize == 0) return Fail(out, ZIP_ER_INTERNAL, 0);
  out->stream.resize(packedSize);
  out->size = done;
  out->crc = static_cast<uint32_t>(libdeflate_crc32(0, contents.data(), done));
  ReleaseIfLarge(contents);
  return true;
}

struct DeflateAhead::Worker {
  explicit Worker(int level) : compressor(libdeflate_alloc_compressor(level)) {}
  ~Worker() {
    if (compressor != nullptr) libdeflate_free_compressor(compressor);
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  libdeflate_compressor* compressor;
  std::vector<unsigned char> contents;  // the whole file being deflated
};

DeflateAhead::DeflateAhead(std::vector<Input> inputs, int level)
    : inputs_(std::move(inputs)),
      level_(level),
      states_(inputs_.size(), State::kWaiting),
      results_(inputs_.size()),
      own_(std::make_unique<Worker>(level)) {
  if (inputs_.size() < 2 || std::thread::hardware_concurrency() < 2) return;
  helper_ = std::make_unique<Worker>(level_);
  try {
    thread_ = std::thread(&DeflateAhead::Run, this);
  } catch (...) {
    helper_.reset();  // no thread to be had: one deflates everything
  }
}

DeflateAhead::~DeflateAhead() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

bool DeflateAhead::NextWithinReach() {
  while (next_ < states_.size() && states_[next_] != State::kWaiting) ++next_;
  return next_ < states_.size() && next_ < taken_ + kFilesAhead && heldBytes_ < kBytesAhead;
}

void DeflateAhead::DeflateAt(size_t index, Worker& worker, std::unique_lock<std::mutex>& lock) {
  lock.unlock();
  DeflatedFile result;
  DeflateFile(worker.compressor, inputs_[index].path, inputs_[index].maxSize, worker.contents,
              &result);
  lock.lock();
  heldBytes_ += result.stream.capacity();
  results_[index] = std::move(result);
  states_[index] = State::kDone;
  changed_.notify_all();
}

void DeflateAhead::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return stop_ || next_ >= states_.size() || NextWithinReach(); });
    if (stop_ || next_ >= states_.size()) return;
    const size_t index = next_;
    states_[index] = State::kWorking;
    DeflateAt(index, *helper_, lock);
  }
}

bool DeflateAhead::Take(size_t index, DeflatedFile* out) {
  std::unique_lock<std::mutex> lock(mutex_);
  if (index >= states_.size() || states_[index] == State::kTaken) {
    return Fail(out, ZIP_ER_INTERNAL, 0);
  }
  if (taken_ < index + 1) {
    taken_ = index + 1;
    changed_.notify_all();  // the window has moved
  }
  while (states_[index] != State::kDone) {
    if (states_[index] == State::kWaiting) {
      states_[index] = State::kWorking;
      DeflateAt(index, *own_, lock);
    } else if (NextWithinReach()) {
      // The other thread is on this one: deflate a later one meanwhile.
      const size_t later = next_;
      states_[later] = State::kWorking;
      DeflateAt(later, *own_, lock);
    } else {
      changed_.wait(lock);
    }
  }
  *out = std::move(results_[index]);
  results_[index] = DeflatedFile();
  states_[index] = State::kTaken;
  heldBytes_ -= out->stream.capacity();
  changed_.notify_all();
  return out->zipError == 0;
}

}  // namespace kav_ebase
