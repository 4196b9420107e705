#ifndef KAV_EPUB_PLATFORM_EBASE_BOOK_FILES_H_
#define KAV_EPUB_PLATFORM_EBASE_BOOK_FILES_H_

#include <sys/types.h>
#include <time.h>
#include <zip.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/ebase/deflate_ahead.h"

namespace kav_ebase {

// The files of one book as libzip sources. Each source describes its file
// as a plain file source of libzip would (size, modification time, Unix
// mode), but the sources share one reader and keep only a few numbers per
// file, where a file source keeps a path and a context of its own: a book of
// thousands of pages holds thousands of sources until the archive is closed.
// libzip reads the sources one after another, so one file at a time is
// enough. Must outlive the archive the sources are added to.
//
// A file can be given deflated: its source then hands libzip the deflate
// stream that libdeflate makes of the whole file, with the stream's size
// and the file's CRC, and libzip copies those bytes into the archive as
// they are instead of compressing the file itself. Once every file is added,
// StartDeflating may set the deflating going ahead of libzip (DeflateAhead);
// otherwise a file is compressed when libzip first asks about it, just
// before it writes the entry.
class BookFiles {
 public:
  // bookDir stays referenced; files are added one at a time.
  // deflateLevel is libdeflate's level for the files given deflated.
  BookFiles(const std::string& bookDir, size_t fileCount, int deflateLevel);
  ~BookFiles();
  BookFiles(const BookFiles&) = delete;
  BookFiles& operator=(const BookFiles&) = delete;

  // A source for bookDir/relative, which stays referenced, as it is or
  // deflated; null, with the reason in error, when the file cannot be
  // examined.
  zip_source_t* CreateSource(const std::string& relative, bool deflated, zip_error_t* error);

  // Deflates the files given deflated ahead of libzip, in the order they
  // were added; call when all are added, before the archive is closed.
  void StartDeflating();

 private:
  struct File {
    BookFiles* owner;
    const std::string* relative;
    zip_uint64_t size;  // once compressed: the bytes that were read
    time_t mtime;
    mode_t mode;
    bool deflated;
    size_t deflatedIndex;     // its place among the files given deflated
    bool compressed = false;  // crc and compressedSize are known
    zip_uint32_t crc = 0;
    zip_uint64_t compressedSize = 0;
  };

  static zip_int64_t Callback(void* userdata, void* data, zip_uint64_t length,
                              zip_source_cmd_t command);
  zip_int64_t Handle(File& file, void* data, zip_uint64_t length, zip_source_cmd_t command);
  bool Open(File& file);
  zip_int64_t Read(const File& file, unsigned char* data, zip_uint64_t length);
  void Close();
  // Reads the whole file and deflates it into packed_; fills in its size,
  // CRC and compressed size.
  bool Compress(File& file);
  // The bytes the source hands out: the file's or its deflate stream's.
  static zip_uint64_t DataSize(const File& file) {
    return file.deflated ? file.compressedSize : file.size;
  }
  bool SetError(int zipError, int systemError);

  const std::string& bookDir_;
  // Reserved up front: the sources point into it.
  std::vector<File> files_;
  std::string path_;  // the path of the file being read
  int fd_ = -1;
  zip_uint64_t position_ = 0;
  zip_error_t error_;
  int deflateLevel_;
  size_t deflatedFiles_ = 0;
  std::unique_ptr<DeflateAhead> ahead_;
  libdeflate_compressor* compressor_ = nullptr;  // made for the first file deflated here
  std::vector<unsigned char> contents_;          // the whole file being compressed
  std::vector<unsigned char> packed_;            // its deflate stream
  const File* packedFile_ = nullptr;             // whose stream packed_ holds
};

}  // namespace kav_ebase

#endif  // KAV_EPUB_PLATFORM_EBASE_BOOK_FILES_H_
