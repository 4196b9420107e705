#include "platform/mobi/filepos_links.h"

#include <ctype.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/mobi/book_toc.h"
#include "platform/mobi/utf8_charset.h"

namespace kavmobi {
namespace {

using Byte = unsigned char;

// libmobi keeps at most this many bytes of an attribute; the rest of a
// longer one stays in the text after the rewritten part.
constexpr size_t kValueMax = 150;

// libmobi asks isspace(), in whatever locale the process has.
struct Blanks {
  bool is[256];
  Blanks() {
    for (int c = 0; c < 256; ++c) is[c] = isspace(c) != 0;
  }
};

// The last '<' or '>' in [from, to), else border.
Byte LastBorder(const Byte* from, const Byte* to, Byte border) {
  if (to <= from) return border;
  const void* open = memrchr(from, '<', to - from);
  const void* close = memrchr(from, '>', to - from);
  if (open == nullptr && close == nullptr) return border;
  if (close == nullptr) return '<';
  if (open == nullptr) return '>';
  return open > close ? '<' : '>';
}

// The first place at or after `at` where needle starts and ends at least
// `room` bytes before end; remembers the answer, since the places asked
// for only move forward.
class Finder {
 public:
  Finder(std::string_view needle, size_t room) : needle_(needle), room_(room) {}
  const Byte* Next(const Byte* at, const Byte* end) {
    if (searched_ && at >= from_ && (found_ == nullptr || found_ >= at)) return found_;
    searched_ = true;
    from_ = at;
    found_ = nullptr;
    // Both names end in '=', rarer in text than any letter: find those.
    const size_t stem = needle_.size() - 1;
    const Byte* limit = end - std::min<size_t>(end - at, room_);
    for (const Byte* eq = at + stem; eq < limit;) {
      eq = static_cast<const Byte*>(memchr(eq, '=', limit - eq));
      if (eq == nullptr) break;
      if (memcmp(eq - stem, needle_.data(), stem) == 0) {
        found_ = eq - stem;
        break;
      }
      ++eq;
    }
    return found_;
  }

 private:
  std::string_view needle_;
  size_t room_;
  bool searched_ = false;
  const Byte* from_ = nullptr;
  const Byte* found_ = nullptr;
};

// The targets of filepos="N" attributes, read as libmobi reads them: each
// search starts where the last value started, none after a '>' that no '<'
// follows, each name after a blank or '<'; N unquoted ends at a space or
// '>'; 0 and numbers past 32 bits are dropped.
void AddFileposTargets(const Byte* text, const Byte* end, const Blanks& blanks,
                       std::vector<uint32_t>* targets) {
  Finder finder("filepos=", 2);
  const Byte* call = text;
  while (end - call >= 8) {
    Byte border = 0;
    const Byte* seen = call;
    const Byte* at = call;
    const Byte* found = nullptr;
    while (const Byte* p = finder.Next(at, end)) {
      border = LastBorder(seen, p, border);
      seen = p;
      at = p + 8;
      if (border == '>') continue;
      if (p > call && p[-1] != '<' && !blanks.is[p[-1]]) continue;
      found = p;
      break;
    }
    if (found == nullptr) return;
    const Byte* v = found + 8;
    Byte separator = ' ';
    if (*v == '\'' || *v == '"') separator = *v++;
    char value[kValueMax + 1];
    size_t length = 0;
    while (length < kValueMax && v < end && *v != separator && *v != '>') value[length++] = *v++;
    const Byte* valueStart = v - length;
    if (v < end && v[-1] == '/' && *v == '>') --length;
    value[length] = '\0';
    const unsigned long target = strtoul(value, nullptr, 10);
    if (target != 0 && target <= UINT32_MAX) targets->push_back(static_cast<uint32_t>(target));
    call = valueStart;
  }
}

// One attribute that libmobi rewrites: [from, to) of the text becomes link.
struct Rewrite {
  size_t from, to;
  std::string link;
};

// libmobi's search for the next filepos= or recindex= attribute from start:
// after a '<' not closed since (the skipped matches' next byte unseen), the
// attribute from the blank or '<' before it to the next blank or '>', at
// most kValueMax bytes, a closing "/" left out.
class LinkSearch {
 public:
  LinkSearch(const Byte* end, const Blanks& blanks)
      : end_(end), blanks_(blanks), filepos_("filepos=", 2), recindex_("recindex=", 1) {}
  // False when there is none; else the attribute and its first bytes.
  bool Find(const Byte* start, const Byte** from, const Byte** to, char* value) {
    if (end_ - start < 10) return false;
    Byte border = '<';
    const Byte* seen = start;
    const Byte* at = start;
    for (;;) {
      const Byte* f = filepos_.Next(at, end_);
      const Byte* r = recindex_.Next(at, end_);
      const Byte* p = f == nullptr ? r : r == nullptr ? f : std::min(f, r);
      if (p == nullptr) return false;
      border = LastBorder(seen, p, border);
      if (border != '<') {
        at = seen = p + 9;
        continue;
      }
      ptrdiff_t back = p - start;
      while (back >= 0 && !blanks_.is[start[back]] && start[back] != '<') --back;
      const Byte* d = start + back + 1;
      *from = d;
      size_t length = 0;
      while (d < end_ && !blanks_.is[*d] && *d != '>' && length < kValueMax) value[length++] = *d++;
      if (d < end_ && d[-1] == '/' && *d == '>') --d, --length;
      value[length] = '\0';
      *to = d;
      return true;
    }
  }

 private:
  const Byte* end_;
  const Blanks& blanks_;
  Finder filepos_, recindex_;
};

// The rewrites libmobi makes, in text order.
std::vector<Rewrite> FindRewrites(const Byte* text, const Byte* end, const Blanks& blanks,
                                  const std::function<std::string(size_t)>& extension) {
  std::vector<Rewrite> rewrites;
  LinkSearch search(end, blanks);
  const Byte* start = text;
  const Byte* from;
  const Byte* to;
  char value[kValueMax + 1];
  while (search.Find(start, &from, &to, value)) {
    start = to;
    const char* number = strpbrk(value, "0123456789");
    if (number == nullptr) continue;
    char link[kValueMax + 1];
    size_t target = strtoul(number, nullptr, 10);
    switch (value[0]) {
      case 'f':
        snprintf(link, sizeof link, "href=\"#%010u\"", static_cast<uint32_t>(target));
        break;
      case 'h':
      case 'l':
        // "hirecindex" and "lorecindex" keep their first two letters.
        from += 2;
        [[fallthrough]];
      case 'r':
        if (target > 0) --target;
        snprintf(link, sizeof link, "src=\"resource%05u.%s\"", static_cast<uint32_t>(target),
                 extension(target).c_str());
        break;
      default:
        continue;
    }
    rewrites.push_back({static_cast<size_t>(from - text), static_cast<size_t>(to - text), link});
  }
  return rewrites;
}

// Where each target goes: the text between rewrites is cut at it. A target
// at the end of such a stretch goes before the next rewrite, one at its
// start after the rewrite before. False for one inside a rewritten
// attribute or past the text.
bool PlaceTargets(const std::vector<Rewrite>& rewrites, size_t size,
                  const std::vector<uint32_t>& targets, std::vector<size_t>* stretchOf) {
  size_t k = 0;  // the stretch [start, end): before rewrite k, or the last one
  for (uint32_t target : targets) {
    for (;;) {
      const size_t start = k == 0 ? 0 : rewrites[k - 1].to;
      const size_t stop = k < rewrites.size() ? rewrites[k].from : size;
      if (target < start) return false;
      if (target <= stop) break;
      if (k == rewrites.size()) return false;
      ++k;
    }
    stretchOf->push_back(k);
  }
  return true;
}

// What the rebuild does to a text: its rewrites, and its targets with the
// stretch between rewrites that takes each.
struct Plan {
  std::string_view text;
  std::vector<uint32_t> targets;
  std::vector<Rewrite> rewrites;
  std::vector<size_t> stretchOf;
  size_t size = 0;  // of the rebuilt text
};

constexpr size_t kAnchorSize = sizeof "<a id=\"0000000000\"></a>" - 1;

// False where libmobi's rebuild fails.
bool MakePlan(std::string_view text, std::vector<uint32_t> targets,
              const std::function<std::string(size_t)>& extension, Plan* plan) {
  const Byte* begin = reinterpret_cast<const Byte*>(text.data());
  const Byte* end = begin + text.size();
  const Blanks blanks;
  AddFileposTargets(begin, end, blanks, &targets);
  std::sort(targets.begin(), targets.end());
  targets.erase(std::unique(targets.begin(), targets.end()), targets.end());
  plan->text = text;
  plan->rewrites = FindRewrites(begin, end, blanks, extension);
  if (!PlaceTargets(plan->rewrites, text.size(), targets, &plan->stretchOf)) return false;
  plan->targets = std::move(targets);
  plan->size = text.size() + plan->targets.size() * kAnchorSize;
  for (const Rewrite& r : plan->rewrites) plan->size += r.link.size() - (r.to - r.from);
  return true;
}

// Writes the rebuilt text, plan.size bytes, to out.
void WritePlan(const Plan& plan, char* out) {
  const std::string_view text = plan.text;
  size_t copied = 0;
  auto copy = [&out, &text, &copied](size_t to) {
    memcpy(out, text.data() + copied, to - copied);
    out += to - copied;
    copied = to;
  };
  size_t next = 0;  // the next target
  for (size_t k = 0;; ++k) {
    for (; next < plan.targets.size() && plan.stretchOf[next] == k; ++next) {
      copy(plan.targets[next]);
      char anchor[kAnchorSize + 1];
      snprintf(anchor, sizeof anchor, "<a id=\"%010u\"></a>", plan.targets[next]);
      memcpy(out, anchor, kAnchorSize);
      out += kAnchorSize;
    }
    if (k == plan.rewrites.size()) break;
    copy(plan.rewrites[k].from);
    memcpy(out, plan.rewrites[k].link.data(), plan.rewrites[k].link.size());
    out += plan.rewrites[k].link.size();
    copied = plan.rewrites[k].to;
  }
  copy(text.size());
}

// The first value of an entry's tag: 1 when it has one, 0 when the entry
// has no such tag, -1 when the tag comes without values (libmobi versions
// differ on that).
int TagValue(const MOBIIndexEntry& entry, unsigned tag, uint32_t* value) {
  for (size_t i = 0; i < entry.tags_count; ++i) {
    if (entry.tags[i].tagid != tag) continue;
    if (entry.tags[i].tagvalues_count == 0 || entry.tags[i].tagvalues == nullptr) return -1;
    *value = entry.tags[i].tagvalues[0];
    return 1;
  }
  return 0;
}

// The text positions that libmobi's NCX (rebuilt from the index when the
// book's OPF is) names and so gives anchors: those of the entries its
// navMap writes, the top level (0) and, under each entry written, its
// child range's entries one level down. False when the index is one libmobi
// would not turn into an NCX, or might loop on.
bool NcxTargets(const MOBIIndx& ncx, std::vector<uint32_t>* targets) {
  const size_t count = ncx.entries_count;
  if (count == 0 || ncx.entries == nullptr || ncx.cncx_record == nullptr) return false;
  std::vector<uint32_t> level(count), first(count), last(count), position(count);
  for (size_t i = 0; i < count; ++i) {
    const MOBIIndexEntry& entry = ncx.entries[i];
    uint32_t label = 0, parent = MOBI_NOTSET;
    std::string_view labelBytes;  // libmobi reads the label inside the first CNCX record
    first[i] = last[i] = MOBI_NOTSET;
    if (TagValue(entry, 3, &label) != 1 || !CncxBytes(*ncx.cncx_record, label, &labelBytes) ||
        TagValue(entry, 1, &position[i]) != 1 || TagValue(entry, 4, &level[i]) != 1 ||
        TagValue(entry, 21, &parent) < 0 || TagValue(entry, 22, &first[i]) < 0 ||
        TagValue(entry, 23, &last[i]) < 0) {
      return false;
    }
    for (uint32_t other : {parent, first[i], last[i]}) {
      if (other != MOBI_NOTSET && other >= count) return false;
    }
    // Each written entry's id climbs its parents.
    if (parent != MOBI_NOTSET && parent > i) return false;
  }
  // Level by level: the entries written at one level open ranges below.
  std::vector<bool> written(count, false);
  std::vector<std::pair<uint32_t, uint32_t>> ranges = {{0, static_cast<uint32_t>(count - 1)}};
  for (uint64_t depth = 0; !ranges.empty(); ++depth) {
    std::sort(ranges.begin(), ranges.end());
    std::vector<std::pair<uint32_t, uint32_t>> below;
    size_t from = 0;
    for (const auto& [start, stop] : ranges) {
      for (size_t i = std::max<size_t>(start, from); i <= stop; ++i) {
        if (level[i] != depth || written[i]) continue;
        written[i] = true;
        targets->push_back(position[i]);
        if (first[i] != MOBI_NOTSET && last[i] != MOBI_NOTSET && first[i] <= last[i]) {
          below.emplace_back(first[i], last[i]);
        }
      }
      from = std::max<size_t>(from, static_cast<size_t>(stop) + 1);
    }
    ranges.swap(below);
  }
  return true;
}

// The EXTH records that libmobi's OPF metadata decodes, and fails on when
// it cannot.
bool IsOpfMetadata(uint32_t tag) {
  switch (tag) {
    case EXTH_DESCRIPTION: case EXTH_LANGUAGE: case EXTH_PUBLISHER: case EXTH_RIGHTS:
    case EXTH_SOURCE: case EXTH_TITLE: case EXTH_UPDATEDTITLE: case EXTH_TYPE: case EXTH_AUTHOR:
    case EXTH_CONTRIBUTOR: case EXTH_SUBJECT: case EXTH_SUBJECTCODE: case EXTH_ISBN:
    case EXTH_PUBLISHINGDATE: case EXTH_ADULT: case EXTH_DICTNAME: case EXTH_DICTLANGIN:
    case EXTH_DICTLANGOUT: case EXTH_IMPRINT: case EXTH_REVIEW: case EXTH_PRICE:
    case EXTH_CURRENCY:
      return true;
    default:
      return false;
  }
}

// Whether libmobi's OPF and NCX building is sure to succeed for the book,
// which its rebuild needs. It fails on metadata it cannot decode, and on
// an NCX index it cannot write (then no NCX, and the OPF's spine has no
// table); a guide or a dictionary index takes paths not followed here.
// targets gets the NCX's targets.
bool OpfBuilds(const MOBIData& m, const MOBIRawml& rawml, std::vector<uint32_t>* targets) {
  if (mobi_is_dictionary(&m) || rawml.guide != nullptr || mobi_is_rawml_kf8(&rawml)) return false;
  for (const MOBIExthHeader* exth = m.eh; exth != nullptr; exth = exth->next) {
    if (!IsOpfMetadata(exth->tag)) continue;
    const MOBIExthMeta meta = mobi_get_exthtagmeta_by_tag(static_cast<MOBIExthTag>(exth->tag));
    if (meta.type == EXTH_STRING) {
      char* value =
          mobi_decode_exthstring(&m, static_cast<const unsigned char*>(exth->data), exth->size);
      if (value == nullptr) return false;
      // The identifier and the language land in NCX attributes, where
      // libmobi's own reading would take them for a link.
      const bool inNcx = exth->tag == EXTH_ISBN || exth->tag == EXTH_LANGUAGE;
      const bool linkLike = inNcx && strstr(value, "src=") != nullptr;
      free(value);
      if (linkLike) return false;
    } else if (meta.type != EXTH_NUMERIC) {
      return false;
    }
  }
  if (rawml.ncx != nullptr && rawml.ncx->cncx_record != nullptr) return NcxTargets(*rawml.ncx, targets);
  return true;
}

}  // namespace

MOBI_RET ParseMobi6Rawml(MOBIRawml** rawml, const MOBIData* m, bool parseToc) {
  const bool cp1252 = m->mh != nullptr && m->mh->text_encoding != nullptr &&
                      IsCp1252(*m->mh->text_encoding);
  MOBI_RET result = mobi_parse_rawml_opt(*rawml, m, parseToc, false, cp1252);
  if (result != MOBI_SUCCESS || cp1252) return result;
  MOBIPart* part = (*rawml)->markup;
  std::vector<uint32_t> targets;
  if (part == nullptr || !OpfBuilds(*m, **rawml, &targets)) {
    mobi_free_rawml(*rawml);
    *rawml = mobi_init_rawml(m);
    if (*rawml == nullptr) return MOBI_MALLOC_FAILED;
    return mobi_parse_rawml_opt(*rawml, m, parseToc, false, true);
  }
  // libmobi appends the NCX and then the OPF to the resources, numbered on
  // from the last; a picture link may name them.
  size_t ncxUid = 0;
  for (const MOBIPart* resource = (*rawml)->resources; resource != nullptr;
       resource = resource->next) {
    ncxUid = resource->uid + 1;
  }
  const MOBIRawml* parsed = *rawml;
  auto extension = [parsed, ncxUid](size_t uid) {
    const MOBIPart* resource = mobi_get_resource_by_uid(parsed, uid);
    const MOBIFiletype type = resource != nullptr ? resource->type
                              : uid == ncxUid      ? T_NCX
                              : uid == ncxUid + 1  ? T_OPF
                                                   : T_UNKNOWN;
    return std::string(mobi_get_filemeta_by_type(type).extension);
  };
  Plan plan;
  const std::string_view text(reinterpret_cast<const char*>(part->data), part->size);
  // libmobi fails with MOBI_MALLOC_FAILED where a target has no place.
  if (!MakePlan(text, std::move(targets), extension, &plan)) return MOBI_MALLOC_FAILED;
  if (plan.rewrites.empty() && plan.targets.empty()) return MOBI_SUCCESS;
  char* data = static_cast<char*>(malloc(plan.size > 0 ? plan.size : 1));
  if (data == nullptr) return MOBI_MALLOC_FAILED;
  WritePlan(plan, data);
  free(part->data);
  part->data = reinterpret_cast<unsigned char*>(data);
  part->size = plan.size;
  return MOBI_SUCCESS;
}

}  // namespace kavmobi
