#ifndef KAV_EPUB_PLATFORM_EBASE_BOOK_ARCHIVE_H_
#define KAV_EPUB_PLATFORM_EBASE_BOOK_ARCHIVE_H_

#include <string>
#include <vector>

namespace kav_ebase {

// The name of the file that opens every book.
extern const char kMimetypeName[];

// Writes a new ZIP archive at archivePath (an existing file there is
// replaced): bookDir's "mimetype" first, stored, then contentFiles (paths
// relative to bookDir, "mimetype" not among them) in the given order,
// deflated. False when any file cannot be read or the archive not written.
bool WriteBookArchive(const std::string& bookDir, const std::vector<std::string>& contentFiles,
                      const std::string& archivePath);

}  // namespace kav_ebase

#endif  // KAV_EPUB_PLATFORM_EBASE_BOOK_ARCHIVE_H_
