#include "fuzz/mobi6_book.h"

#include <string.h>

namespace kav_fuzz {
namespace {

constexpr uint32_t kNone = 0xFFFFFFFF;
constexpr size_t kRecordSize = 4096;

void Put32(std::string* s, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) (*s)[at + i] = static_cast<char>(v >> (24 - 8 * i));
}
void Put16(std::string* s, size_t at, uint32_t v) {
  (*s)[at] = static_cast<char>(v >> 8);
  (*s)[at + 1] = static_cast<char>(v);
}
std::string Be32(uint32_t v) {
  std::string s(4, '\0');
  Put32(&s, 0, v);
  return s;
}

// Forward variable-width number: seven bits a byte, the last one marked.
std::string Varlen(uint32_t v) {
  std::string out(1, static_cast<char>(0x80 | (v & 0x7F)));
  for (v >>= 7; v != 0; v >>= 7) out.insert(out.begin(), static_cast<char>(v & 0x7F));
  return out;
}

std::string Pad4(std::string s) {
  s.append((4 - s.size() % 4) % 4, '\0');
  return s;
}

// An INDX record: a 192-byte header, body, then IDXT of the entry offsets.
std::string Indx(const std::vector<std::pair<size_t, uint32_t>>& fields, const std::string& body,
                 const std::vector<size_t>& offsets) {
  std::string header(192, '\0');
  header.replace(0, 4, "INDX");
  Put32(&header, 4, 192);
  for (const auto& [at, value] : fields) Put32(&header, at, value);
  Put32(&header, 20, static_cast<uint32_t>(192 + body.size()));
  Put32(&header, 24, static_cast<uint32_t>(offsets.size()));
  std::string idxt = "IDXT";
  for (size_t o : offsets) idxt += std::string{static_cast<char>((192 + o) >> 8), static_cast<char>(192 + o)};
  return Pad4(header + body + idxt);
}

// The NCX index: header record (TAGX), one record of entries, one CNCX.
std::vector<std::string> NcxRecords(const std::vector<Mobi6NcxEntry>& entries) {
  // (tag, values, bit): position, label, level, parent, first and last child.
  const int tags[][3] = {{1, 1, 0x01}, {3, 1, 0x04}, {4, 1, 0x08}, {21, 1, 0x10}, {22, 1, 0x20},
                         {23, 1, 0x40}};
  std::string cncx, body;
  std::vector<size_t> offsets;
  for (size_t i = 0; i < entries.size(); ++i) {
    const Mobi6NcxEntry& e = entries[i];
    const std::string label = "Entry " + std::to_string(i);
    const uint32_t labelAt = static_cast<uint32_t>(cncx.size());
    cncx += Varlen(static_cast<uint32_t>(label.size())) + label;
    const long values[] = {e.position, labelAt, e.level, e.parent, e.firstChild, e.lastChild};
    std::string key = std::to_string(100 + i);
    unsigned control = 0;
    std::string data;
    for (int t = 0; t < 6; ++t) {
      if (values[t] < 0) continue;
      control |= tags[t][2];
      data += Varlen(static_cast<uint32_t>(values[t]));
    }
    offsets.push_back(body.size());
    body += std::string(1, static_cast<char>(key.size())) + key +
            std::string(1, static_cast<char>(control)) + data;
  }
  std::string tagx;
  for (const auto& t : tags) tagx += std::string{char(t[0]), char(t[1]), char(t[2]), 0};
  tagx += std::string{0, 0, 0, 1};
  tagx = "TAGX" + Be32(static_cast<uint32_t>(12 + tagx.size())) + Be32(1) + tagx;
  const std::string lastKey = std::to_string(100 + entries.size() - 1);
  const std::string geometry = std::string(1, static_cast<char>(lastKey.size())) + lastKey +
                               std::string{static_cast<char>(entries.size() >> 8),
                                           static_cast<char>(entries.size())};
  std::vector<std::string> records;
  records.push_back(Indx({{28, 65001}, {32, kNone}, {36, static_cast<uint32_t>(entries.size())},
                          {52, 1}},
                         tagx + geometry, {tagx.size()}));
  records.push_back(Indx({}, body, offsets));
  records.push_back(Pad4(cncx));
  return records;
}

}  // namespace

std::string Mobi6Book(const std::string& html, const std::vector<std::string>& pictures,
                      const std::vector<Mobi6NcxEntry>& ncx) {
  std::vector<std::string> records(1);
  for (size_t at = 0; at < html.size(); at += kRecordSize) records.push_back(html.substr(at, kRecordSize));
  const uint32_t textRecords = static_cast<uint32_t>(records.size() - 1);
  const uint32_t firstOther = static_cast<uint32_t>(records.size());
  uint32_t ncxRecord = kNone;
  if (!ncx.empty()) {
    ncxRecord = static_cast<uint32_t>(records.size());
    for (std::string& r : NcxRecords(ncx)) records.push_back(std::move(r));
  }
  const uint32_t firstPicture = pictures.empty() ? kNone : static_cast<uint32_t>(records.size());
  for (const std::string& p : pictures) records.push_back(p);
  records.push_back("\xe9\x8e\r\n");

  // Record 0: PalmDOC header, MOBI header of 232 bytes, the full name.
  std::string r0(16 + 232, '\0');
  Put16(&r0, 0, 1);  // stored text
  Put32(&r0, 4, static_cast<uint32_t>(html.size()));
  Put16(&r0, 8, textRecords);
  Put16(&r0, 10, kRecordSize);
  r0.replace(16, 4, "MOBI");
  Put32(&r0, 20, 232);
  Put32(&r0, 24, 2);
  Put32(&r0, 28, 65001);
  Put32(&r0, 32, 0x4B415645);
  Put32(&r0, 36, 6);
  for (size_t at = 40; at < 80; at += 4) Put32(&r0, at, kNone);
  const std::string name = "Fuzzed book";
  Put32(&r0, 80, firstOther);
  Put32(&r0, 84, static_cast<uint32_t>(r0.size()));
  Put32(&r0, 88, static_cast<uint32_t>(name.size()));
  Put32(&r0, 92, 9);
  Put32(&r0, 104, 6);
  Put32(&r0, 108, firstPicture);
  Put32(&r0, 164, kNone);
  Put32(&r0, 168, kNone);
  Put16(&r0, 192, 1);
  Put16(&r0, 194, textRecords);
  Put32(&r0, 196, 1);
  Put32(&r0, 200, kNone);
  Put32(&r0, 208, kNone);
  Put32(&r0, 224, kNone);
  for (size_t at = 244; at < r0.size(); at += 4) Put32(&r0, at, at == 244 ? ncxRecord : kNone);
  records[0] = r0 + Pad4(name) + std::string(2048, '\0');

  const size_t count = records.size();
  std::string pdb(78, '\0');
  pdb.replace(0, 11, "Fuzzed_book");
  pdb.replace(60, 8, "BOOKMOBI");
  Put16(&pdb, 76, static_cast<uint32_t>(count));
  size_t offset = 78 + 8 * count + 2;
  for (size_t i = 0; i < count; ++i) {
    pdb += Be32(static_cast<uint32_t>(offset)) + Be32(static_cast<uint32_t>(2 * i));
    offset += records[i].size();
  }
  pdb += std::string(2, '\0');
  for (const std::string& r : records) pdb += r;
  return pdb;
}

namespace {

std::string Differs(const char* list, const MOBIPart* a, const MOBIPart* b) {
  for (size_t n = 0;; ++n, a = a->next, b = b->next) {
    // The OPF and NCX that only libmobi's rebuild writes end the resources.
    while (a != nullptr && (a->type == T_OPF || a->type == T_NCX)) a = a->next;
    while (b != nullptr && (b->type == T_OPF || b->type == T_NCX)) b = b->next;
    if (a == nullptr || b == nullptr) {
      return a == b ? "" : std::string(list) + " " + std::to_string(n) + ": one list ends";
    }
    if (a->uid != b->uid || a->type != b->type || a->size != b->size ||
        (a->size != 0 && memcmp(a->data, b->data, a->size) != 0)) {
      return std::string(list) + " " + std::to_string(n) + " (uid " + std::to_string(a->uid) +
             ", " + std::to_string(a->size) + " and " + std::to_string(b->size) + " bytes)";
    }
  }
}

}  // namespace

std::string PartsDifference(const MOBIRawml* a, const MOBIRawml* b) {
  if (a == nullptr || b == nullptr) return a == b ? "" : "one book is not parsed";
  std::string d = Differs("markup", a->markup, b->markup);
  if (d.empty()) d = Differs("resource", a->resources, b->resources);
  if (d.empty() && (a->ncx == nullptr) != (b->ncx == nullptr)) d = "one NCX index";
  return d;
}

}  // namespace kav_fuzz
