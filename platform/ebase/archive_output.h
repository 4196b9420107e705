#ifndef KAV_EPUB_PLATFORM_EBASE_ARCHIVE_OUTPUT_H_
#define KAV_EPUB_PLATFORM_EBASE_ARCHIVE_OUTPUT_H_

#include <zip.h>

#include <memory>
#include <string>

namespace kav_ebase {

// The file a new archive is written into, as a libzip source: libzip writes
// it in place, through a buffer, instead of making a temporary file of its
// own beside it (the caller's file is already a temporary one) and without
// a system call for every header it writes and rewrites. The file is taken
// to hold no archive yet; whatever it holds is replaced when writing begins.
// Must outlive the archive that writes into it.
class ArchiveOutput {
 public:
  explicit ArchiveOutput(std::string path);
  ~ArchiveOutput();  // closes the file if the archive did not
  ArchiveOutput(const ArchiveOutput&) = delete;
  ArchiveOutput& operator=(const ArchiveOutput&) = delete;

  // A new source for zip_open_from_source, or null.
  zip_source_t* CreateSource(zip_error_t* error);

 private:
  static zip_int64_t Callback(void* userdata, void* data, zip_uint64_t length,
                              zip_source_cmd_t command);
  zip_int64_t Handle(void* data, zip_uint64_t length, zip_source_cmd_t command);

  bool BeginWrite();
  bool Write(const unsigned char* data, zip_uint64_t length);
  bool Flush();
  bool WriteAt(const unsigned char* data, zip_uint64_t length, zip_uint64_t offset);
  bool CloseFile();
  // Records the error libzip asks for after a failure; returns false.
  bool SetError(int zipError, int systemError);

  std::string path_;
  int fd_ = -1;
  zip_error_t error_;
  zip_uint64_t position_ = 0;  // where the next byte goes
  zip_uint64_t size_ = 0;      // bytes written so far, buffered or not
  // Bytes not yet in the file: they belong at bufferStart_ onwards.
  std::unique_ptr<unsigned char[]> buffer_;
  zip_uint64_t bufferStart_ = 0;
  zip_uint64_t buffered_ = 0;
};

}  // namespace kav_ebase

#endif  // KAV_EPUB_PLATFORM_EBASE_ARCHIVE_OUTPUT_H_
