#include "platform/mobi/text_records.h"

#include <stdint.h>
#include <stdlib.h>

#include <memory>

namespace kavmobi {
namespace {

constexpr uint16_t kNoCompression = 1;
constexpr uint16_t kPalmDocCompression = 2;

std::string_view RecordText(const MOBIPdbRecord& record, size_t size) {
  return std::string_view(reinterpret_cast<const char*>(record.data), size);
}

bool StartsWith(const MOBIPdbRecord& record, std::string_view magic) {
  return record.data != nullptr && record.size >= magic.size() &&
         RecordText(record, magic.size()) == magic;
}

MOBIFiletype PictureType(const MOBIPdbRecord& record) {
  if (StartsWith(record, "\xff\xd8\xff")) return T_JPG;
  if (StartsWith(record, "GIF8")) return T_GIF;
  if (StartsWith(record, "\x89PNG\r\n\x1a\n")) return T_PNG;
  // A bitmap states its own size, little-endian, after "BM".
  if (StartsWith(record, "BM") && record.size >= 6) {
    const unsigned char* b = record.data;
    uint32_t size = static_cast<uint32_t>(b[5]) << 24 | static_cast<uint32_t>(b[4]) << 16 |
                    static_cast<uint32_t>(b[3]) << 8 | b[2];
    if (size == record.size) return T_BMP;
  }
  return T_UNKNOWN;
}

// The whole text through libmobi, for compressions only it can undo.
std::string WholeText(const MOBIData& m) {
  size_t size = mobi_get_text_maxsize(&m);
  if (size == MOBI_NOTSET || size == 0) return std::string();
  std::unique_ptr<char, decltype(&free)> text(static_cast<char*>(malloc(size + 1)), free);
  if (!text || mobi_get_rawml(&m, text.get(), &size) != MOBI_SUCCESS) return std::string();
  return std::string(text.get(), size);
}

}  // namespace

uint32_t BigEndian32(const unsigned char* bytes) {
  return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
         static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

bool DecompressPalmDoc(std::string_view record, std::string& out) {
  const size_t start = out.size();
  bool intact = true;
  for (size_t i = 0; i < record.size();) {
    const unsigned char c = static_cast<unsigned char>(record[i++]);
    if (c == 0 || (c >= 0x09 && c <= 0x7f)) {
      out += static_cast<char>(c);
    } else if (c <= 0x08) {
      // That many bytes follow as they are.
      out.append(record.substr(i, c));
      i += c;
    } else if (c >= 0xc0) {
      out += ' ';
      out += static_cast<char>(c ^ 0x80);
    } else {
      // Two bytes: 11 bits of distance back into this record's text, 3 of length - 3.
      if (i >= record.size()) return false;  // a lone half at the end
      const unsigned pair = static_cast<unsigned>(c) << 8 | static_cast<unsigned char>(record[i++]);
      const size_t distance = (pair >> 3) & 0x7ff, length = (pair & 7) + 3;
      if (distance == 0 || distance > out.size() - start) {
        intact = false;  // nothing to copy from; what follows may still be text
        continue;
      }
      // Byte by byte: the copy may overlap what it writes.
      for (size_t n = 0, from = out.size() - distance; n < length; ++n) out += out[from + n];
    }
  }
  return intact;
}

std::string ReadTextRecords(const MOBIData& m) {
  if (m.rh == nullptr) return std::string();
  const uint16_t compression = m.rh->compression_type;
  if (compression != kNoCompression && compression != kPalmDocCompression) return WholeText(m);
  const uint16_t flags = m.mh != nullptr && m.mh->extra_flags != nullptr ? *m.mh->extra_flags : 0;
  std::string text;
  const MOBIPdbRecord* record = mobi_get_record_by_seqnumber(&m, mobi_get_kf8offset(&m) + 1);
  for (size_t i = 0; i < m.rh->text_record_count && record != nullptr; ++i, record = record->next) {
    if (record->data == nullptr || record->size == 0) continue;
    // Each record ends in entries that are not text, their sizes counted
    // from its end. Entries that do not fit belong to a record whose end is
    // lost: all of it is read, a few bytes of noise after its text.
    size_t extra = flags != 0 ? mobi_get_record_extrasize(record, flags) : 0;
    if (extra == MOBI_NOTSET || extra >= record->size) extra = 0;
    std::string_view data = RecordText(*record, record->size - extra);
    if (compression == kNoCompression) {
      text.append(data);
    } else {
      DecompressPalmDoc(data, text);
    }
  }
  return text;
}

std::string_view HtmlFlow(const MOBIData& m, std::string_view text) {
  if (m.mh == nullptr || m.mh->fdst_index == nullptr || *m.mh->fdst_index == MOBI_NOTSET) {
    return text;
  }
  // "FDST", its header's length, the number of flows, then each flow's start
  // and end in the text.
  const MOBIPdbRecord* fdst =
      mobi_get_record_by_seqnumber(&m, *m.mh->fdst_index + mobi_get_kf8offset(&m));
  if (fdst == nullptr || !StartsWith(*fdst, "FDST") || fdst->size < 20) return text;
  const uint32_t start = BigEndian32(fdst->data + 12), end = BigEndian32(fdst->data + 16);
  if (BigEndian32(fdst->data + 8) == 0 || start >= end || end > text.size()) return text;
  return text.substr(start, end - start);
}

std::vector<MOBIPart> PictureRecords(const MOBIData& m) {
  std::vector<MOBIPart> pictures;
  const size_t first = mobi_get_first_resource_record(&m);
  if (first == MOBI_NOTSET) return pictures;
  size_t uid = 0;
  for (const MOBIPdbRecord* record = mobi_get_record_by_seqnumber(&m, first);
       record != nullptr && !StartsWith(*record, "BOUNDARY"); record = record->next, ++uid) {
    MOBIFiletype type = PictureType(*record);
    if (type != T_UNKNOWN) pictures.push_back({uid, type, record->size, record->data, nullptr});
  }
  for (size_t i = 0; i + 1 < pictures.size(); ++i) pictures[i].next = &pictures[i + 1];
  return pictures;
}

}  // namespace kavmobi
