#include "platform/ebase/book_files.h"

#include <errno.h>
#include <fcntl.h>
#include <libdeflate.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

namespace kav_ebase {

namespace {

constexpr zip_int64_t kSupported = ZIP_SOURCE_SUPPORTS_SEEKABLE |
                                   ZIP_SOURCE_MAKE_COMMAND_BITMASK(ZIP_SOURCE_GET_FILE_ATTRIBUTES) |
                                   ZIP_SOURCE_MAKE_COMMAND_BITMASK(ZIP_SOURCE_ACCEPT_EMPTY);

}  // namespace

BookFiles::BookFiles(const std::string& bookDir, size_t fileCount, int deflateLevel)
    : bookDir_(bookDir), deflateLevel_(deflateLevel) {
  files_.reserve(fileCount);
  zip_error_init(&error_);
}

BookFiles::~BookFiles() {
  if (fd_ >= 0) close(fd_);
  if (compressor_ != nullptr) libdeflate_free_compressor(compressor_);
  zip_error_fini(&error_);
}

zip_source_t* BookFiles::CreateSource(const std::string& relative, bool deflated,
                                      zip_error_t* error) {
  // Sources point into files_, which must not move.
  if (files_.size() == files_.capacity()) {
    zip_error_set(error, ZIP_ER_INTERNAL, 0);
    return nullptr;
  }
  // The file is examined now, as libzip's own file source does: its size
  // goes into the entry's header before any of it is read.
  path_.assign(bookDir_).append("/").append(relative);
  struct stat st;
  if (stat(path_.c_str(), &st) != 0) {
    zip_error_set(error, ZIP_ER_READ, errno);
    return nullptr;
  }
  if (!S_ISREG(st.st_mode)) {
    zip_error_set(error, ZIP_ER_READ, EINVAL);
    return nullptr;
  }
  files_.push_back(File{this, &relative, static_cast<zip_uint64_t>(st.st_size), st.st_mtime,
                        st.st_mode, deflated, deflatedFiles_});
  if (deflated) ++deflatedFiles_;
  zip_source_t* source = zip_source_function_create(Callback, &files_.back(), error);
  if (source == nullptr) files_.pop_back();
  return source;
}

void BookFiles::StartDeflating() {
  std::vector<DeflateAhead::Input> inputs;
  inputs.reserve(deflatedFiles_);
  for (const File& file : files_) {
    if (file.deflated) inputs.push_back({bookDir_ + "/" + *file.relative, file.size});
  }
  ahead_ = std::make_unique<DeflateAhead>(std::move(inputs), deflateLevel_);
}

zip_int64_t BookFiles::Callback(void* userdata, void* data, zip_uint64_t length,
                                zip_source_cmd_t command) {
  File& file = *static_cast<File*>(userdata);
  // libzip is C: nothing may be thrown through it.
  try {
    return file.owner->Handle(file, data, length, command);
  } catch (...) {
    file.owner->SetError(ZIP_ER_MEMORY, 0);
    return -1;
  }
}

zip_int64_t BookFiles::Handle(File& file, void* data, zip_uint64_t length,
                              zip_source_cmd_t command) {
  switch (command) {
    case ZIP_SOURCE_SUPPORTS:
      return kSupported;
    case ZIP_SOURCE_STAT: {
      zip_stat_t* st = ZIP_SOURCE_GET_ARGS(zip_stat_t, data, length, &error_);
      if (st == nullptr) return -1;
      // A deflated file's stream is made now: libzip writes the entry's
      // header with what this answers, then reads the stream.
      if (file.deflated && !file.compressed && !Compress(file)) return -1;
      zip_stat_init(st);
      st->valid = ZIP_STAT_SIZE | ZIP_STAT_MTIME;
      st->size = file.size;
      st->mtime = file.mtime;
      if (file.deflated) {
        // The data is already compressed: libzip stores it as it is.
        st->valid |= ZIP_STAT_COMP_METHOD | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC;
        st->comp_method = ZIP_CM_DEFLATE;
        st->comp_size = file.compressedSize;
        st->crc = file.crc;
      }
      return sizeof(*st);
    }
    case ZIP_SOURCE_GET_FILE_ATTRIBUTES: {
      zip_file_attributes_t* attributes =
          ZIP_SOURCE_GET_ARGS(zip_file_attributes_t, data, length, &error_);
      if (attributes == nullptr) return -1;
      // Unix attributes, the low bit marking a file its owner cannot write.
      zip_file_attributes_init(attributes);
      attributes->valid =
          ZIP_FILE_ATTRIBUTES_HOST_SYSTEM | ZIP_FILE_ATTRIBUTES_EXTERNAL_FILE_ATTRIBUTES;
      attributes->host_system = ZIP_OPSYS_UNIX;
      attributes->external_file_attributes =
          (static_cast<zip_uint32_t>(file.mode) << 16) | ((file.mode & S_IWUSR) != 0 ? 0 : 1);
      return sizeof(*attributes);
    }
    case ZIP_SOURCE_ACCEPT_EMPTY:
      return 0;
    case ZIP_SOURCE_OPEN:
      return Open(file) ? 0 : -1;
    case ZIP_SOURCE_READ:
      return Read(file, static_cast<unsigned char*>(data), length);
    case ZIP_SOURCE_SEEK: {
      const zip_int64_t offset =
          zip_source_seek_compute_offset(position_, DataSize(file), data, length, &error_);
      if (offset < 0) return -1;
      position_ = static_cast<zip_uint64_t>(offset);
      return 0;
    }
    case ZIP_SOURCE_TELL:
      return static_cast<zip_int64_t>(position_);
    case ZIP_SOURCE_CLOSE:
      Close();
      return 0;
    case ZIP_SOURCE_ERROR:
      return zip_error_to_data(&error_, data, length);
    case ZIP_SOURCE_FREE:
      return 0;
    default:
      SetError(ZIP_ER_OPNOTSUPP, 0);
      return -1;
  }
}

bool BookFiles::Open(File& file) {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
  position_ = 0;
  // The stream is normally still there from the question about the file.
  if (file.deflated) return packedFile_ == &file || Compress(file);
  path_.assign(bookDir_).append("/").append(*file.relative);
  fd_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd_ < 0) return SetError(ZIP_ER_OPEN, errno);
  return true;
}

void BookFiles::Close() {
  if (fd_ >= 0) close(fd_);
  fd_ = -1;
  if (packed_.capacity() > kKeptBufferBytes) packedFile_ = nullptr;
  ReleaseIfLarge(packed_);
}

bool BookFiles::Compress(File& file) {
  packedFile_ = nullptr;
  DeflatedFile result;
  bool done;
  if (ahead_ != nullptr && !file.compressed) {
    done = ahead_->Take(file.deflatedIndex, &result);
  } else {
    // Asked again after its stream was let go, or nothing deflates ahead.
    if (compressor_ == nullptr) compressor_ = libdeflate_alloc_compressor(deflateLevel_);
    path_.assign(bookDir_).append("/").append(*file.relative);
    done = DeflateFile(compressor_, path_, file.size, contents_, &result);
  }
  if (!done) return SetError(result.zipError, result.systemError);
  packed_ = std::move(result.stream);
  file.size = result.size;
  file.crc = result.crc;
  file.compressedSize = packed_.size();
  file.compressed = true;
  packedFile_ = &file;
  return true;
}

zip_int64_t BookFiles::Read(const File& file, unsigned char* data, zip_uint64_t length) {
  if (file.deflated) {
    if (packedFile_ != &file) {
      SetError(ZIP_ER_READ, EBADF);
      return -1;
    }
    if (position_ >= packed_.size()) return 0;
    if (length > packed_.size() - position_) length = packed_.size() - position_;
    memcpy(data, packed_.data() + position_, length);
    position_ += length;
    return static_cast<zip_int64_t>(length);
  }
  if (fd_ < 0) {
    SetError(ZIP_ER_READ, EBADF);
    return -1;
  }
  // Never more than the size the header was written with.
  if (position_ >= file.size) return 0;
  if (length > file.size - position_) length = file.size - position_;
  zip_uint64_t done = 0;
  while (done < length) {
    const ssize_t got =
        pread(fd_, data + done, length - done, static_cast<off_t>(position_ + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      SetError(ZIP_ER_READ, errno);
      return -1;
    }
    if (got == 0) break;  // the file has shrunk
    done += static_cast<zip_uint64_t>(got);
  }
  position_ += done;
  return static_cast<zip_int64_t>(done);
}

bool BookFiles::SetError(int zipError, int systemError) {
  zip_error_set(&error_, zipError, systemError);
  return false;
}

}  // namespace kav_ebase
