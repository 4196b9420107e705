#include "platform/ebase/book_archive.h"

#include <time.h>
#include <zip.h>

#include <memory>
#include <optional>

#include "platform/ebase/archive_output.h"
#include "platform/ebase/book_files.h"
#include "platform/tool/source_date_epoch.h"

namespace kav_ebase {

const char kMimetypeName[] = "mimetype";

namespace {

// The lowest libdeflate level whose output is no larger than zlib's level 6
// (the level of zip -6 and of libzip's own deflate), in less than its time.
// Level 6 is as small on short files but falls behind on long ones: 3% on
// 64 KB pages of plain prose, 5% on 256 KB pages.
constexpr int kDeflateLevel = 7;

// The time written into every entry: SOURCE_DATE_EPOCH when it is set, which
// makes books reproducible byte for byte; empty otherwise, keeping each
// file's own modification time. Entry times are local clock readings, which
// libzip makes from a time_t through the local time zone; the instant is
// shifted so that they read as its UTC time on any machine, as the book's
// identifier does.
std::optional<time_t> FixedEntryTime() {
  time_t epoch;
  struct tm fields;
  if (!KavSourceDateEpoch(&epoch) || gmtime_r(&epoch, &fields) == nullptr) return std::nullopt;
  fields.tm_isdst = -1;
  const time_t shifted = mktime(&fields);
  if (shifted == static_cast<time_t>(-1)) return std::nullopt;
  return shifted;
}

// Adds the book file relative as entry `relative`, stored or deflated, dated
// fixedTime when it is set. The file is read only when the archive is closed.
bool AddFile(zip_t* archive, BookFiles* files, const std::string& relative, bool deflated,
             const std::optional<time_t>& fixedTime) {
  zip_source_t* source = files->CreateSource(relative, deflated, nullptr);
  if (source == nullptr) return false;
  const zip_int64_t index = zip_file_add(archive, relative.c_str(), source, 0);
  if (index < 0) {
    zip_source_free(source);  // still ours when the add failed
    return false;
  }
  const zip_uint64_t entry = static_cast<zip_uint64_t>(index);
  // A deflated file's source says it is deflated already, and libzip keeps
  // the method its source reports for an entry left at the default method.
  if (!deflated && zip_set_file_compression(archive, entry, ZIP_CM_STORE, 0) != 0) return false;
  return !fixedTime || zip_file_set_mtime(archive, entry, *fixedTime, 0) == 0;
}

bool AddAllFiles(zip_t* archive, BookFiles* files, const std::string& mimetype,
                 const std::vector<std::string>& contentFiles) {
  // Readers find the book type by the bytes "mimetypeapplication/epub+zip"
  // at offset 30: the first entry, uncompressed, without extra fields.
  // libzip gives a new entry none as long as its size is known up front,
  // which a book file source's is.
  const std::optional<time_t> fixedTime = FixedEntryTime();
  if (!AddFile(archive, files, mimetype, false, fixedTime)) return false;
  for (const std::string& relative : contentFiles) {
    if (!AddFile(archive, files, relative, true, fixedTime)) return false;
  }
  return true;
}

}  // namespace

bool WriteBookArchive(const std::string& bookDir, const std::vector<std::string>& contentFiles,
                      const std::string& archivePath) {
  // Both outlive the archive, whose sources call into them until it is
  // closed or discarded.
  ArchiveOutput output(archivePath);
  const std::string mimetype = kMimetypeName;
  BookFiles files(bookDir, contentFiles.size() + 1, kDeflateLevel);

  zip_source_t* outputSource = output.CreateSource(nullptr);
  if (outputSource == nullptr) return false;
  zip_t* opened = zip_open_from_source(outputSource, ZIP_CREATE | ZIP_TRUNCATE, nullptr);
  if (opened == nullptr) {
    zip_source_free(outputSource);  // still ours when the open failed
    return false;
  }
  // Discarded on every way out but a successful close, which frees it.
  std::unique_ptr<zip_t, void (*)(zip_t*)> archive(opened, zip_discard);
  if (!AddAllFiles(archive.get(), &files, mimetype, contentFiles)) return false;
  files.StartDeflating();
  // On failure the file holds a partial archive; the caller removes it.
  if (zip_close(archive.get()) != 0) return false;
  archive.release();
  return true;
}

}  // namespace kav_ebase
