#include "platform/ebase/archive_output.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

namespace kav_ebase {

namespace {

// Large enough for a page's header, data and rewritten header to reach the
// file in one write.
constexpr zip_uint64_t kBufferSize = 256 * 1024;

}  // namespace

ArchiveOutput::ArchiveOutput(std::string path) : path_(std::move(path)) { zip_error_init(&error_); }

ArchiveOutput::~ArchiveOutput() {
  if (fd_ >= 0) close(fd_);
  zip_error_fini(&error_);
}

zip_source_t* ArchiveOutput::CreateSource(zip_error_t* error) {
  return zip_source_function_create(Callback, this, error);
}

zip_int64_t ArchiveOutput::Callback(void* userdata, void* data, zip_uint64_t length,
                                    zip_source_cmd_t command) {
  ArchiveOutput* output = static_cast<ArchiveOutput*>(userdata);
  // libzip is C: nothing may be thrown through it.
  try {
    return output->Handle(data, length, command);
  } catch (...) {
    output->SetError(ZIP_ER_MEMORY, 0);
    return -1;
  }
}

zip_int64_t ArchiveOutput::Handle(void* data, zip_uint64_t length, zip_source_cmd_t command) {
  switch (command) {
    case ZIP_SOURCE_SUPPORTS:
      return ZIP_SOURCE_SUPPORTS_WRITABLE;
    case ZIP_SOURCE_STAT:
      // What libzip takes for a file that does not exist yet: it then
      // starts a new archive without reading anything.
      SetError(ZIP_ER_READ, ENOENT);
      return -1;
    case ZIP_SOURCE_OPEN:
    case ZIP_SOURCE_READ:
    case ZIP_SOURCE_SEEK:
      // Nothing is read from the archive being written.
      SetError(ZIP_ER_OPNOTSUPP, 0);
      return -1;
    case ZIP_SOURCE_TELL:
    case ZIP_SOURCE_CLOSE:
    case ZIP_SOURCE_FREE:
      return 0;
    case ZIP_SOURCE_BEGIN_WRITE:
      return BeginWrite() ? 0 : -1;
    case ZIP_SOURCE_WRITE:
      return Write(static_cast<const unsigned char*>(data), length)
                 ? static_cast<zip_int64_t>(length)
                 : -1;
    case ZIP_SOURCE_SEEK_WRITE: {
      const zip_int64_t offset =
          zip_source_seek_compute_offset(position_, size_, data, length, &error_);
      if (offset < 0) return -1;
      position_ = static_cast<zip_uint64_t>(offset);
      return 0;
    }
    case ZIP_SOURCE_TELL_WRITE:
      return static_cast<zip_int64_t>(position_);
    case ZIP_SOURCE_COMMIT_WRITE:
      return Flush() && CloseFile() ? 0 : -1;
    case ZIP_SOURCE_ROLLBACK_WRITE:
      // The caller removes the file; what was written of it does not matter.
      buffered_ = 0;
      if (fd_ >= 0) close(fd_);
      fd_ = -1;
      return 0;
    case ZIP_SOURCE_REMOVE:
      if (unlink(path_.c_str()) == 0) return 0;
      SetError(ZIP_ER_REMOVE, errno);
      return -1;
    case ZIP_SOURCE_ERROR:
      return zip_error_to_data(&error_, data, length);
    default:
      SetError(ZIP_ER_OPNOTSUPP, 0);
      return -1;
  }
}

bool ArchiveOutput::BeginWrite() {
  if (fd_ >= 0) close(fd_);
  fd_ = open(path_.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
  if (fd_ < 0) return SetError(ZIP_ER_OPEN, errno);
  if (!buffer_) buffer_.reset(new unsigned char[kBufferSize]);
  position_ = 0;
  size_ = 0;
  bufferStart_ = 0;
  buffered_ = 0;
  return true;
}

bool ArchiveOutput::Write(const unsigned char* data, zip_uint64_t length) {
  if (fd_ < 0) return SetError(ZIP_ER_WRITE, EBADF);
  // The buffer holds one run of bytes; a write that does not continue or
  // overwrite that run, or does not fit beside it, sends the run out first.
  // libzip's usual seek back to a header it has just written stays inside.
  const bool outside = position_ < bufferStart_ || position_ > bufferStart_ + buffered_ ||
                       position_ - bufferStart_ + length > kBufferSize;
  if (buffered_ > 0 && outside && !Flush()) return false;
  if (buffered_ == 0) bufferStart_ = position_;
  if (length > kBufferSize) {
    if (!WriteAt(data, length, position_)) return false;
  } else {
    const zip_uint64_t at = position_ - bufferStart_;
    memcpy(buffer_.get() + at, data, length);
    buffered_ = std::max(buffered_, at + length);
  }
  position_ += length;
  size_ = std::max(size_, position_);
  return true;
}

bool ArchiveOutput::Flush() {
  if (buffered_ == 0) return true;
  if (!WriteAt(buffer_.get(), buffered_, bufferStart_)) return false;
  buffered_ = 0;
  return true;
}

bool ArchiveOutput::WriteAt(const unsigned char* data, zip_uint64_t length, zip_uint64_t offset) {
  while (length > 0) {
    const ssize_t written = pwrite(fd_, data, length, static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return SetError(ZIP_ER_WRITE, written < 0 ? errno : EIO);
    data += written;
    length -= static_cast<zip_uint64_t>(written);
    offset += static_cast<zip_uint64_t>(written);
  }
  return true;
}

bool ArchiveOutput::CloseFile() {
  const int fd = fd_;
  fd_ = -1;
  if (fd >= 0 && close(fd) != 0) return SetError(ZIP_ER_CLOSE, errno);
  return true;
}

bool ArchiveOutput::SetError(int zipError, int systemError) {
  zip_error_set(&error_, zipError, systemError);
  return false;
}

}  // namespace kav_ebase
