#include "platform/mobi/mobi_book.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "platform/mobi/filepos_links.h"
#include "platform/mobi/html_extract.h"
#include "platform/mobi/index_counts.h"
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

// An NCX index libmobi can follow: every parent before its entry, every
// child range after it and inside the index, no deeper than libmobi's
// rebuild goes, every place inside the text.
bool SoundNcx(const MOBIIndx* ncx, uint32_t textLength) {
  constexpr size_t kMostEntries = 10000;
  constexpr int kDeepest = 32;
  if (ncx == nullptr || ncx->entries == nullptr || ncx->entries_count > kMostEntries) return false;
  std::vector<int> depth(ncx->entries_count, 1);
  for (size_t i = 0; i < ncx->entries_count; ++i) {
    const MOBIIndexEntry& entry = ncx->entries[i];
    uint32_t first = 0, last = 0;
    bool hasFirst = false, hasLast = false;
    for (size_t t = 0; t < entry.tags_count; ++t) {
      const MOBIIndexTag& tag = entry.tags[t];
      if (tag.tagvalues_count == 0 || tag.tagvalues == nullptr) continue;
      const uint32_t value = tag.tagvalues[0];
      if (tag.tagid == 1 && value >= textLength) return false;
      if (tag.tagid == 21) {
        if (value >= i) return false;
        depth[i] = depth[value] + 1;
        if (depth[i] > kDeepest) return false;
      }
      if (tag.tagid == 22) first = value, hasFirst = true;
      if (tag.tagid == 23) last = value, hasLast = true;
    }
    if ((hasFirst || hasLast) &&
        (!hasFirst || !hasLast || first <= i || last < first || last >= ncx->entries_count)) {
      return false;
    }
  }
  return true;
}

// The book's text in parts; a MOBI 6 book's links rebuilt (ParseMobi6Rawml,
// or libmobi when asked), KF8 links left to Kf8Links.
MOBI_RET ParseText(MOBIRawml** rawml, const MOBIData* data, bool toc, bool libmobiLinks) {
  if (mobi_is_kf8(data)) return mobi_parse_rawml_opt(*rawml, data, toc, false, false);
  if (libmobiLinks) return mobi_parse_rawml_opt(*rawml, data, toc, false, true);
  return ParseMobi6Rawml(rawml, data, toc);
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
    // them.
    // libmobi gives a MOBI 6 book's NCX places anchors as it rebuilds the
    // links, but follows the index's parents and children as it goes, for
    // ever when they loop: the index is read on its own first, and handed to
    // the rebuild only when it is sound.
    const bool kf8 = mobi_is_kf8(data_);
    const IndexCounts counts = CheckIndexCounts(*data_);
    const bool tocReadable = readToc_ && counts.tocIndexesFit;
    bool tocInText = tocReadable && kf8;
    if (tocReadable && !kf8 && mobi_exists_ncx(data_)) {
      tocRawml_ = mobi_init_rawml(data_);
      if (tocRawml_ != nullptr &&
          mobi_parse_rawml_opt(tocRawml_, data_, true, false, false) == MOBI_SUCCESS) {
        tocInText = SoundNcx(tocRawml_->ncx, data_->rh != nullptr ? data_->rh->text_length : 0);
      } else {
        unreadToc_ = 1;
      }
    }
    result = rawml_ == nullptr           ? KAV_MOBI_ERR_NO_MEMORY
             : !counts.textIndexesFit ? KAV_MOBI_ERR_DAMAGED
                                      : ReaderCode(ParseText(&rawml_, data_, tocInText,
                                                             libmobiLinks_));
    // A table of contents whose index libmobi would fail on is not asked for.
    if (readToc_ && !counts.tocIndexesFit && (result == 0 || !kf8)) unreadToc_ = 1;
    // A table of contents that libmobi cannot read: the text without it.
    if (tocInText && counts.textIndexesFit && result == KAV_MOBI_ERR_DAMAGED &&
        mobi_exists_ncx(data_)) {
      mobi_free_rawml(rawml_);
      rawml_ = mobi_init_rawml(data_);
      result = rawml_ == nullptr ? KAV_MOBI_ERR_NO_MEMORY
                                 : ReaderCode(ParseText(&rawml_, data_, false, libmobiLinks_));
      // Only when the rest reads without it was the index what failed.
      unreadToc_ = result == 0 ? 1 : 0;
    }
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

int MobiBook::ExtractHtml(const std::string& htmlPath) {
  toc_ = BookToc();
  BookToc* toc = readToc_ ? &toc_ : nullptr;
  int result;
  if (rawml_ != nullptr) {
    result = ExtractBookHtml(*rawml_, htmlPath, toc,
                             tocRawml_ != nullptr && rawml_->ncx == nullptr ? tocRawml_ : nullptr);
  } else if (salvaged_ != nullptr) {
    result = ExtractHtmlAndPictures(salvaged_->html, Resources(), htmlPath, toc);
  } else {
    return KAV_MOBI_ERR_NOT_OPEN;
  }
  toc_.flawed += readToc_ ? unreadToc_ : 0;
  return result;
}

const MOBIPart* MobiBook::Resources() const {
  if (rawml_ != nullptr) return rawml_->resources;
  if (salvaged_ == nullptr || salvaged_->pictures.empty()) return nullptr;
  return &salvaged_->pictures.front();
}

void MobiBook::Close() {
  toc_ = BookToc();
  unreadToc_ = 0;
  // The salvaged pictures point into the loaded records.
  salvaged_.reset();
  // The parsed parts refer to the loaded records: free them first.
  if (tocRawml_ != nullptr) mobi_free_rawml(tocRawml_);
  tocRawml_ = nullptr;
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
