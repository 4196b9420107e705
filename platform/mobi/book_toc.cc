#include "platform/mobi/book_toc.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/mobi/html_scan.h"
#include "platform/mobi/kf8_links.h"
#include "platform/mobi/utf8_charset.h"

namespace kavmobi {
namespace {

constexpr size_t npos = std::string_view::npos;
// NCX index tags: text position, label (CNCX offset), parent entry, and the
// KF8 fragment and offset.
constexpr size_t kPositionTag = 1;
constexpr size_t kLabelTag = 3;
constexpr size_t kParentTag = 21;
constexpr size_t kFragmentTag = 6;

const MOBIIndexTag* FindTag(const MOBIIndexEntry& entry, size_t tagId) {
  for (size_t i = 0; i < entry.tags_count; ++i) {
    const MOBIIndexTag& tag = entry.tags[i];
    if (tag.tagid == tagId && tag.tagvalues_count > 0 && tag.tagvalues != nullptr) return &tag;
  }
  return nullptr;
}

void AppendUtf8(uint32_t code, std::string* out) {
  if (code < 0x80) {
    *out += static_cast<char>(code);
  } else if (code < 0x800) {
    *out += static_cast<char>(0xC0 | code >> 6);
    *out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    *out += static_cast<char>(0xE0 | code >> 12);
    *out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
    *out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    *out += static_cast<char>(0xF0 | code >> 18);
    *out += static_cast<char>(0x80 | (code >> 12 & 0x3F));
    *out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
    *out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

// Windows-1252's letters at 0x80-0x9F; the rest of the upper half is Latin-1.
constexpr uint16_t kCp1252High[32] = {
    0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD, 0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178};

// Text a navigation label can hold: valid UTF-8 (a bad byte is U+FFFD)
// without control characters (a blank each).
std::string LabelText(std::string_view bytes, bool cp1252) {
  std::string out;
  out.reserve(bytes.size());
  for (size_t i = 0; i < bytes.size();) {
    const unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c < 0x80) {
      out += c < 0x20 || c == 0x7F ? ' ' : static_cast<char>(c);
      ++i;
      continue;
    }
    if (cp1252) {
      AppendUtf8(c < 0xA0 ? kCp1252High[c - 0x80] : c, &out);
      ++i;
      continue;
    }
    const size_t length = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 ? 2 : 0;
    bool valid = length > 0 && length <= 4 && c <= 0xF4 && i + length <= bytes.size();
    for (size_t k = 1; valid && k < length; ++k) {
      valid = (static_cast<unsigned char>(bytes[i + k]) & 0xC0) == 0x80;
    }
    // Overlong three- and four-byte forms, surrogates and code points past U+10FFFF.
    if (valid && length >= 3) {
      const unsigned char d = static_cast<unsigned char>(bytes[i + 1]);
      valid = !(c == 0xE0 && d < 0xA0) && !(c == 0xED && d >= 0xA0) && !(c == 0xF0 && d < 0x90) &&
              !(c == 0xF4 && d >= 0x90);
    }
    if (valid) {
      out.append(bytes.substr(i, length));
      i += length;
    } else {
      AppendUtf8(0xFFFD, &out);
      ++i;
    }
  }
  return out;
}

// Ids of the "filepos" anchors of a MOBI 6 text, as their positions, sorted.
std::vector<uint32_t> FileposAnchors(std::string_view html) {
  constexpr std::string_view kMarker = " id=\"filepos";
  std::vector<uint32_t> places;
  for (size_t at = html.find(kMarker); at != npos; at = html.find(kMarker, at + 1)) {
    uint64_t number = 0;
    size_t digits = 0;
    for (size_t i = at + kMarker.size(); i < html.size() && std::isdigit(static_cast<unsigned char>(html[i])); ++i) {
      number = number * 10 + static_cast<uint64_t>(html[i] - '0');
      if (number > UINT32_MAX) break;
      ++digits;
    }
    if (digits == 10 && number <= UINT32_MAX) places.push_back(static_cast<uint32_t>(number));
  }
  std::sort(places.begin(), places.end());
  return places;
}

std::string FileposId(uint32_t place) {
  char id[24];
  snprintf(id, sizeof id, "filepos%010u", place);
  return id;
}

// The entry's anchor id, or "" when its place is not in the text.
std::string EntryAnchor(const MOBIIndexEntry& entry, const Kf8Links* links,
                        const std::vector<uint32_t>& fileposes) {
  if (links != nullptr) {
    const MOBIIndexTag* place = FindTag(entry, kFragmentTag);
    if (place == nullptr || place->tagvalues_count < 2) return std::string();
    std::string target = links->PositionAnchor(place->tagvalues[0], place->tagvalues[1]);
    return target.size() > 1 ? target.substr(1) : std::string();
  }
  const MOBIIndexTag* position = FindTag(entry, kPositionTag);
  if (position == nullptr) return std::string();
  auto next = std::lower_bound(fileposes.begin(), fileposes.end(), position->tagvalues[0]);
  return next == fileposes.end() ? std::string() : FileposId(*next);
}

// ---- Tables made from the text -------------------------------------------

bool NameChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-' || c == '.';
}

// An id the clean-up keeps as it is: an XML name of ASCII letters and digits.
bool PlainId(std::string_view id) {
  if (id.empty() || !(std::isalpha(static_cast<unsigned char>(id[0])) || id[0] == '_')) return false;
  return std::all_of(id.begin(), id.end(), NameChar);
}

// The character an entity stands for, appended to out; false when it is
// none of the few that headings carry (it is then kept as written).
bool AppendEntity(std::string_view name, std::string* out) {
  static const std::pair<const char*, uint32_t> kNamed[] = {
      {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}, {"nbsp", 0xA0}};
  if (name.size() > 1 && name[0] == '#') {
    const bool hex = name[1] == 'x' || name[1] == 'X';
    uint64_t code = 0;
    std::string_view digits = name.substr(hex ? 2 : 1);
    if (digits.empty() || digits.size() > 8) return false;
    for (char c : digits) {
      const int digit = std::isdigit(static_cast<unsigned char>(c)) ? c - '0'
                        : hex && std::isxdigit(static_cast<unsigned char>(c))
                            ? std::tolower(static_cast<unsigned char>(c)) - 'a' + 10
                            : -1;
      if (digit < 0) return false;
      code = code * (hex ? 16 : 10) + static_cast<uint64_t>(digit);
    }
    if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return false;
    AppendUtf8(static_cast<uint32_t>(code), out);
    return true;
  }
  for (const auto& named : kNamed) {
    if (name == named.first) {
      AppendUtf8(named.second, out);
      return true;
    }
  }
  return false;
}

// The text of markup, tags left out, entities read, blanks collapsed.
std::string PlainText(std::string_view markup) {
  std::string text;
  for (size_t i = 0; i < markup.size();) {
    const char c = markup[i];
    if (c == '<') {
      const size_t end = TagEnd(markup, i);
      if (end == npos) break;
      // A line break parts words; other tags do not.
      if (end - i >= 3 && std::tolower(static_cast<unsigned char>(markup[i + 1])) == 'b' &&
          std::tolower(static_cast<unsigned char>(markup[i + 2])) == 'r') {
        text += ' ';
      }
      i = end;
      continue;
    }
    if (c == '&') {
      const size_t semi = markup.find(';', i);
      if (semi != npos && semi - i <= 10 && AppendEntity(markup.substr(i + 1, semi - i - 1), &text)) {
        i = semi + 1;
        continue;
      }
    }
    text += c;
    ++i;
  }
  std::string label = LabelText(text, false);
  std::string collapsed;
  for (char c : label) {
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
      if (!collapsed.empty() && collapsed.back() != ' ') collapsed += ' ';
    } else {
      collapsed += c;
    }
  }
  if (!collapsed.empty() && collapsed.back() == ' ') collapsed.pop_back();
  return collapsed;
}

// The heading level (1-3) of the start tag at pos, or 0.
int HeadingAt(std::string_view html, size_t pos) {
  if (pos + 3 >= html.size() || (html[pos + 1] != 'h' && html[pos + 1] != 'H')) return 0;
  const char digit = html[pos + 2];
  const char after = html[pos + 3];
  if (digit < '1' || digit > '3') return 0;
  if (after != '>' && after != '/' && !std::isspace(static_cast<unsigned char>(after))) return 0;
  return digit - '0';
}

// Offset of the end tag </hN> (any case) from from on, or npos.
size_t HeadingEnd(std::string_view html, size_t from, int level) {
  for (size_t at = html.find("</", from); at != npos; at = html.find("</", at + 2)) {
    if (at + 3 < html.size() && (html[at + 2] == 'h' || html[at + 2] == 'H') &&
        html[at + 3] == static_cast<char>('0' + level)) {
      return at;
    }
  }
  return npos;
}

// Anchors to put into a page: each text goes in before the byte at its
// offset; offsets ascend.
using Insertions = std::vector<std::pair<size_t, std::string>>;

// html with the insertions made. The copy is sized once: a book's text is
// the largest thing held at this point, and growing a second one by
// doubling would hold nearly three times it.
void Insert(const Insertions& insertions, std::string* html) {
  if (insertions.empty()) return;
  size_t size = html->size();
  for (const auto& insertion : insertions) size += insertion.second.size();
  std::string out;
  out.reserve(size);
  size_t copied = 0;
  for (const auto& insertion : insertions) {
    out.append(*html, copied, insertion.first - copied);
    out += insertion.second;
    copied = insertion.first;
  }
  out.append(*html, copied, std::string::npos);
  *html = std::move(out);
}

BookToc HeadingToc(std::string* html) {
  BookToc toc;
  Insertions anchors;
  std::vector<int> levels;  // the levels of the open entries above
  const std::string_view text = *html;
  for (size_t tag = text.find('<'); tag != npos; tag = text.find('<', tag + 1)) {
    const int level = HeadingAt(text, tag);
    if (level == 0) continue;
    const size_t tagEnd = TagEnd(text, tag);
    if (tagEnd == npos) break;
    const size_t close = HeadingEnd(text, tagEnd, level);
    const std::string label =
        PlainText(text.substr(tagEnd, (close == npos ? text.size() : close) - tagEnd));
    if (label.empty()) continue;
    while (!levels.empty() && levels.back() >= level) levels.pop_back();
    const int depth = std::min(static_cast<int>(levels.size()) + 1, kMaxTocDepth);
    levels.push_back(level);
    const std::string_view id = AttributeValue(text.substr(tag, tagEnd - tag), "id");
    std::string anchor;
    if (PlainId(id)) {
      anchor = std::string(id);
    } else {
      // An anchor first inside the heading: it is where the heading is.
      anchor = "kavtoc" + std::to_string(toc.entries.size() + 1);
      anchors.emplace_back(tagEnd, "<a id=\"" + anchor + "\"></a>");
    }
    toc.entries.push_back({label, anchor, depth});
    tag = tagEnd - 1;
  }
  Insert(anchors, html);
  return toc;
}

// Offset of the next <mbp:pagebreak> start tag (any case) at or after from.
size_t NextPageBreak(std::string_view html, size_t from) {
  return FindStartTag(html, "mbp:pagebreak", from);
}

BookToc PageBreakToc(std::string* html) {
  BookToc toc;
  const std::string_view text = *html;
  size_t first = NextPageBreak(text, 0);
  if (first == npos) return toc;
  // The first page starts with the body's content.
  size_t body = FindStartTag(text, "body");
  size_t start = body == npos ? npos : TagEnd(text, body);
  Insertions anchors;
  auto addAnchor = [&](size_t at) {
    const std::string anchor = "kavpage" + std::to_string(toc.entries.size() + 1);
    anchors.emplace_back(at, "<div id=\"" + anchor + "\"></div>");
    toc.entries.push_back({std::to_string(toc.entries.size() + 1), anchor, 1});
  };
  if (start != npos && start <= first) addAnchor(start);
  for (size_t tag = first; tag != npos; tag = NextPageBreak(text, tag + 1)) {
    size_t end = TagEnd(text, tag);
    if (end == npos) break;
    // A break written as a start and an end tag: the page begins after both.
    if (text.substr(end, 2) == "</") {
      const size_t closeEnd = TagEnd(text, end);
      if (closeEnd != npos && FindLastEndTag(text.substr(end, closeEnd - end), "mbp:pagebreak") == 0) {
        end = closeEnd;
      }
    }
    addAnchor(end);
    tag = end - 1;
  }
  Insert(anchors, html);
  return toc;
}

}  // namespace

bool CncxBytes(const MOBIPdbRecord& record, size_t offset, std::string_view* bytes) {
  if (record.data == nullptr) return false;
  size_t at = offset;
  // The length: seven bits a byte, the last byte marked by its high bit.
  size_t length = 0;
  for (int read = 0;; ++read) {
    if (at >= record.size || read == 4) return false;
    const unsigned char c = record.data[at++];
    length = length << 7 | (c & 0x7F);
    if ((c & 0x80) != 0) break;
  }
  if (length > record.size - at) return false;
  *bytes = std::string_view(reinterpret_cast<const char*>(record.data + at), length);
  return true;
}

bool CncxText(const MOBIIndx& index, uint32_t offset, std::string* text) {
  const MOBIPdbRecord* record = index.cncx_record;
  const size_t number = offset >> 16;
  if (number >= index.cncx_records_count) return false;
  for (size_t i = 0; i < number && record != nullptr; ++i) record = record->next;
  std::string_view bytes;
  if (record == nullptr || !CncxBytes(*record, offset & 0xFFFF, &bytes)) return false;
  *text = LabelText(bytes, IsCp1252(index.encoding));
  return true;
}

BookToc NcxToc(const MOBIRawml& rawml, const Kf8Links* links, std::string_view html) {
  BookToc toc;
  const MOBIIndx* ncx = rawml.ncx;
  if (ncx == nullptr || ncx->entries == nullptr || ncx->entries_count == 0) return toc;
  const size_t count = ncx->entries_count;
  const std::vector<uint32_t> fileposes = links == nullptr ? FileposAnchors(html) : std::vector<uint32_t>();

  // The tree: an entry's parent must come before it (so no entry is its own
  // ancestor); one that names itself, a later entry or none is at the top.
  std::vector<std::vector<size_t>> children(count);
  std::vector<size_t> tops;
  for (size_t i = 0; i < count; ++i) {
    const MOBIIndexTag* parent = FindTag(ncx->entries[i], kParentTag);
    if (parent != nullptr && parent->tagvalues[0] < i) {
      children[parent->tagvalues[0]].push_back(i);
    } else {
      if (parent != nullptr) ++toc.flawed;
      tops.push_back(i);
    }
  }

  // Depth first, in reading order; an entry that cannot be placed is left
  // out, and its children take its place.
  std::vector<std::pair<size_t, int>> stack;  // (entry, depth)
  for (auto top = tops.rbegin(); top != tops.rend(); ++top) stack.emplace_back(*top, 1);
  while (!stack.empty()) {
    const auto [entry, depth] = stack.back();
    stack.pop_back();
    const MOBIIndexEntry& item = ncx->entries[entry];
    std::string anchor = EntryAnchor(item, links, fileposes);
    int childDepth = depth;
    if (anchor.empty()) {
      ++toc.flawed;
    } else {
      std::string label;
      const MOBIIndexTag* labelTag = FindTag(item, kLabelTag);
      if (labelTag == nullptr || !CncxText(*ncx, labelTag->tagvalues[0], &label)) {
        ++toc.flawed;
        label = std::to_string(toc.entries.size() + 1);
      }
      toc.entries.push_back({std::move(label), std::move(anchor), depth});
      childDepth = std::min(depth + 1, kMaxTocDepth);
    }
    const std::vector<size_t>& kids = children[entry];
    for (auto kid = kids.rbegin(); kid != kids.rend(); ++kid) stack.emplace_back(*kid, childDepth);
  }
  return toc;
}

BookToc MadeToc(std::string* html) {
  BookToc toc = HeadingToc(html);
  if (toc.entries.empty()) toc = PageBreakToc(html);
  return toc;
}

}  // namespace kavmobi
