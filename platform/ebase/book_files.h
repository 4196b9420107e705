#ifndef KAV_EPUB_PLATFORM_EBASE_BOOK_FILES_H_
#define KAV_EPUB_PLATFORM_EBASE_BOOK_FILES_H_

#include <sys/types.h>
#include <time.h>
#include <zip.h>

#include <string>
#include <vector>

namespace kav_ebase {

// The files of one book as libzip sources. Each source describes its file
// as a plain file source of libzip would (size, modification time, Unix
// mode), but the sources share one reader and keep only a few numbers per
// file, where a file source keeps a path and a context of its own: a book of
// thousands of pages holds thousands of sources until the archive is closed.
// libzip reads the sources one after another, so one open file at a time is
// enough. Must outlive the archive the sources are added to.
class BookFiles {
 public:
  // bookDir stays referenced; files are added one at a time.
  explicit BookFiles(const std::string& bookDir, size_t fileCount);
  ~BookFiles();
  BookFiles(const BookFiles&) = delete;
  BookFiles& operator=(const BookFiles&) = delete;

  // A source for bookDir/relative, which stays referenced; null, with the
  // reason in error, when the file cannot be examined.
  zip_source_t* CreateSource(const std::string& relative, zip_error_t* error);

 private:
  struct File {
    BookFiles* owner;
    const std::string* relative;
    zip_uint64_t size;
    time_t mtime;
    mode_t mode;
  };

  static zip_int64_t Callback(void* userdata, void* data, zip_uint64_t length,
                              zip_source_cmd_t command);
  zip_int64_t Handle(const File& file, void* data, zip_uint64_t length, zip_source_cmd_t command);
  bool Open(const File& file);
  zip_int64_t Read(const File& file, unsigned char* data, zip_uint64_t length);
  bool SetError(int zipError, int systemError);

  const std::string& bookDir_;
  // Reserved up front: the sources point into it.
  std::vector<File> files_;
  std::string path_;  // the path of the file being read
  int fd_ = -1;
  zip_uint64_t position_ = 0;
  zip_error_t error_;
};

}  // namespace kav_ebase

#endif  // KAV_EPUB_PLATFORM_EBASE_BOOK_FILES_H_
