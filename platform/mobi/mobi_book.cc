#include "platform/mobi/mobi_book.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <string>

#include "platform/mobi/html_extract.h"
#include "platform/mobi/kav_mobi.h"
#include "platform/mobi/quiet_libxml2.h"
#include "platform/mobi/resource_writer.h"

namespace kavmobi {
namespace {

int ReaderCode(MOBI_RET result) {
  switch (result) {
    case MOBI_SUCCESS:
      return 0;
    case MOBI_FILE_NOT_FOUND:
      return KAV_MOBI_ERR_NOT_FOUND;
    case MOBI_FILE_UNSUPPORTED:
      return KAV_MOBI_ERR_NOT_MOBI;
    case MOBI_FILE_ENCRYPTED:
    case MOBI_DRM_PIDINV:
    case MOBI_DRM_KEYNOTFOUND:
    case MOBI_DRM_UNSUPPORTED:
    case MOBI_DRM_EXPIRED:
      return KAV_MOBI_ERR_ENCRYPTED;
    default:
      // Corrupt data, reads past a record's end and the rest: the file
      // cannot be read as the book it claims to be. This includes
      // MOBI_MALLOC_FAILED, which libmobi also reports for a link into a
      // place the text does not have.
      return KAV_MOBI_ERR_DAMAGED;
  }
}

bool HasHtmlPart(const MOBIRawml* rawml) {
  for (const MOBIPart* part = rawml->markup; part != nullptr; part = part->next) {
    if (part->type == T_HTML) return true;
  }
  return false;
}

char* TextOrEmpty(char* text) { return text != nullptr ? text : strdup(""); }

// libmobi sizes each record as the 32-bit distance to the next record's
// offset, so an offset below the one before it (or past the end of the file)
// makes it ask for up to 4 GB for a few bytes of book. Such a record table
// belongs to a damaged file. A table too short to read is left to libmobi.
bool RecordOffsetsFit(const char* path, off_t fileSize) {
  FILE* file = fopen(path, "rb");
  if (file == nullptr) return true;
  unsigned char header[78];  // the database header; the record count ends it
  bool fit = true;
  if (fread(header, 1, sizeof header, file) == sizeof header) {
    unsigned count = static_cast<unsigned>(header[76] << 8 | header[77]);
    uint32_t previous = 0;
    unsigned char entry[8];  // offset, attributes and id of one record
    for (unsigned i = 0; fit && i < count && fread(entry, 1, sizeof entry, file) == sizeof entry;
         ++i) {
      uint32_t offset = static_cast<uint32_t>(entry[0]) << 24 |
                        static_cast<uint32_t>(entry[1]) << 16 |
                        static_cast<uint32_t>(entry[2]) << 8 | entry[3];
      fit = offset >= previous && offset <= static_cast<uint64_t>(fileSize);
      previous = offset;
    }
  }
  fclose(file);
  return fit;
}

}  // namespace

int MobiBook::Open(const char* path) {
  Close();
  if (path == nullptr || path[0] == '\0') return KAV_MOBI_ERR_ARGUMENT;
  // libmobi takes a directory for a damaged book; say what it is.
  struct stat info;
  if (stat(path, &info) != 0 || !S_ISREG(info.st_mode)) return KAV_MOBI_ERR_NOT_FOUND;
  if (!RecordOffsetsFit(path, info.st_size)) return KAV_MOBI_ERR_DAMAGED;
  data_ = mobi_init();
  if (data_ == nullptr) return KAV_MOBI_ERR_NO_MEMORY;
  int result = ReaderCode(mobi_load_filename(data_, path));
  // An encrypted book loads, and even shows its metadata, but its text is
  // unreadable: refuse it here, before the caller makes anything of it.
  if (result == 0 && mobi_is_encrypted(data_)) result = KAV_MOBI_ERR_ENCRYPTED;
  if (result == 0) {
    QuietLibxml2 quiet;
    rawml_ = mobi_init_rawml(data_);
    // No tables of contents or dictionary indices: the text does without
    // them. KF8 links are resolved by Kf8Links, not by libmobi.
    result =
        rawml_ == nullptr
            ? KAV_MOBI_ERR_NO_MEMORY
            : ReaderCode(mobi_parse_rawml_opt(rawml_, data_, false, false, !mobi_is_kf8(data_)));
    if (result == 0 && !HasHtmlPart(rawml_)) result = KAV_MOBI_ERR_NO_TEXT;
    // The structure could not be rebuilt: the text may still be there.
    if (result == KAV_MOBI_ERR_DAMAGED || result == KAV_MOBI_ERR_NO_TEXT) result = Salvage();
  }
  if (result != 0) Close();
  return result;
}

int MobiBook::Salvage() {
  mobi_free_rawml(rawml_);
  rawml_ = nullptr;
  salvaged_ = std::make_unique<SalvagedBook>();
  if (SalvageBook(*data_, salvaged_.get())) return 0;
  salvaged_.reset();
  return KAV_MOBI_ERR_NO_TEXT;
}

int MobiBook::ExtractHtml(const std::string& htmlPath) const {
  if (rawml_ != nullptr) return ExtractBookHtml(*rawml_, htmlPath);
  if (salvaged_ == nullptr) return KAV_MOBI_ERR_NOT_OPEN;
  return ExtractHtmlAndPictures(salvaged_->html, Resources(), htmlPath);
}

const MOBIPart* MobiBook::Resources() const {
  if (rawml_ != nullptr) return rawml_->resources;
  if (salvaged_ == nullptr || salvaged_->pictures.empty()) return nullptr;
  return &salvaged_->pictures.front();
}

void MobiBook::Close() {
  // The salvaged pictures point into the loaded records.
  salvaged_.reset();
  // The parsed parts refer to the loaded records: free them first.
  if (rawml_ != nullptr) mobi_free_rawml(rawml_);
  rawml_ = nullptr;
  if (data_ != nullptr) mobi_free(data_);
  data_ = nullptr;
}

char* MobiBook::Title() const {
  return IsOpen() ? TextOrEmpty(mobi_meta_get_title(data_)) : nullptr;
}

char* MobiBook::Author() const {
  // Several authors come joined with "; ".
  return IsOpen() ? TextOrEmpty(mobi_meta_get_author(data_)) : nullptr;
}

char* MobiBook::Language() const {
  return IsOpen() ? mobi_meta_get_language(data_) : nullptr;
}

char* MobiBook::CoverFileName() const {
  if (!IsOpen()) return nullptr;
  // The cover is not referenced from the text; the header's cover offset
  // gives its resource number.
  const MOBIExthHeader* offset = mobi_get_exthrecord_by_tag(data_, EXTH_COVEROFFSET);
  if (offset == nullptr) return nullptr;
  const size_t uid =
      mobi_decode_exthvalue(static_cast<const unsigned char*>(offset->data), offset->size);
  const MOBIPart* cover = Resources();
  while (cover != nullptr && cover->uid != uid) cover = cover->next;
  if (cover == nullptr) return nullptr;
  std::string name = ImageFileName(*cover);
  return name.empty() ? nullptr : strdup(name.c_str());
}

}  // namespace kavmobi
