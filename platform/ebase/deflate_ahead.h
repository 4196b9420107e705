#ifndef KAV_EPUB_PLATFORM_EBASE_DEFLATE_AHEAD_H_
#define KAV_EPUB_PLATFORM_EBASE_DEFLATE_AHEAD_H_

#include <stddef.h>
#include <stdint.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct libdeflate_compressor;

namespace kav_ebase {

// A buffer that grew past this for one large file is given back after it,
// so that one big picture does not hold its memory until the book is done.
constexpr size_t kKeptBufferBytes = 4 << 20;
void ReleaseIfLarge(std::vector<unsigned char>& buffer);

// One file read whole and deflated: its deflate stream, the CRC and number
// of the bytes read, or the libzip and system error codes of what failed.
struct DeflatedFile {
  std::vector<unsigned char> stream;
  uint32_t crc = 0;
  uint64_t size = 0;
  int zipError = 0;
  int systemError = 0;
};

// Reads path (never more than maxSize bytes: what the file held when it was
// added) into contents and deflates it with compressor into out. False, with
// the error in out, when the file cannot be read.
bool DeflateFile(libdeflate_compressor* compressor, const std::string& path, uint64_t maxSize,
                 std::vector<unsigned char>& contents, DeflatedFile* out);

// Deflating is most of the time a book takes to pack, and an archive is
// written one entry after another. With a second processor, a second thread
// deflates the files ahead of the entry being written, in the order they
// will be asked for, a few files and megabytes at most ahead; the thread
// that writes deflates too while it waits. Every file is deflated alone, at
// the same level, so the streams are those one thread would make.
class DeflateAhead {
 public:
  struct Input {
    std::string path;
    uint64_t maxSize;
  };
  // Starts the second thread when the machine has a second processor and
  // one can be made; otherwise Take deflates each file as it is asked for.
  DeflateAhead(std::vector<Input> inputs, int level);
  // Stops the second thread after the file it is on.
  ~DeflateAhead();
  DeflateAhead(const DeflateAhead&) = delete;
  DeflateAhead& operator=(const DeflateAhead&) = delete;

  // The deflated file number index, moved out; each is taken once. False
  // when it could not be read or no compressor could be made.
  bool Take(size_t index, DeflatedFile* out);

 private:
  enum class State { kWaiting, kWorking, kDone, kTaken };
  struct Worker;

  void Run();
  // Whether a file is waiting within reach: few enough files and bytes
  // ahead of the last one taken. Moves next_ past files begun out of turn.
  // Called with mutex_ held.
  bool NextWithinReach();
  // Deflates file index, already marked as being worked on, with worker;
  // mutex_ is held through lock on entry and on return, not while it works.
  void DeflateAt(size_t index, Worker& worker, std::unique_lock<std::mutex>& lock);

  const std::vector<Input> inputs_;
  const int level_;
  std::vector<State> states_;
  std::vector<DeflatedFile> results_;
  size_t next_ = 0;       // the first file no thread has begun
  size_t taken_ = 0;      // one past the last file taken
  size_t heldBytes_ = 0;  // held by streams deflated and not yet taken
  bool stop_ = false;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::unique_ptr<Worker> own_;     // the writing thread's compressor and buffer
  std::unique_ptr<Worker> helper_;  // the second thread's
  std::thread thread_;
};

}  // namespace kav_ebase

#endif  // KAV_EPUB_PLATFORM_EBASE_DEFLATE_AHEAD_H_
