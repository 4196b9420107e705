#include "platform/mobi/kf8_links.h"

#include <algorithm>

#include "platform/mobi/html_scan.h"
#include "platform/mobi/kf8_join.h"
#include "platform/mobi/resource_writer.h"

namespace kavmobi {
namespace {

constexpr size_t npos = std::string_view::npos;
// Index tags: a fragment's file number, a skeleton's position in the text.
constexpr size_t kFragmentFileTag = 3;
constexpr size_t kSkeletonPositionTag = 6;

bool TagValue(const MOBIIndexEntry& entry, size_t tagId, uint32_t* value) {
  for (size_t i = 0; i < entry.tags_count; ++i) {
    const MOBIIndexTag& tag = entry.tags[i];
    if (tag.tagid == tagId && tag.tagvalues_count > 0 && tag.tagvalues != nullptr) {
      *value = tag.tagvalues[0];
      return true;
    }
  }
  return false;
}

// The decimal text position that labels a fragment entry.
bool LabelNumber(const char* label, uint64_t* value) {
  if (label == nullptr || *label == '\0') return false;
  uint64_t number = 0;
  for (; *label != '\0'; ++label) {
    if (*label < '0' || *label > '9' || number > UINT32_MAX) return false;
    number = number * 10 + static_cast<uint64_t>(*label - '0');
  }
  *value = number;
  return true;
}

std::string_view PartText(const MOBIPart& part) {
  return std::string_view(reinterpret_cast<const char*>(part.data), part.size);
}

std::string PartAnchor(size_t uid) { return "#" + PartAnchorId(uid); }

}  // namespace

bool DecodeBase32(std::string_view text, uint32_t* value) {
  if (text.empty()) return false;
  uint64_t number = 0;
  for (char c : text) {
    int digit;
    if (c >= '0' && c <= '9') {
      digit = c - '0';
    } else if (c >= 'A' && c <= 'V') {
      digit = c - 'A' + 10;
    } else if (c >= 'a' && c <= 'v') {
      digit = c - 'a' + 10;
    } else {
      return false;
    }
    number = number * 32 + static_cast<uint64_t>(digit);
    if (number > UINT32_MAX) return false;
  }
  *value = static_cast<uint32_t>(number);
  return true;
}

Kf8Links::Kf8Links(const MOBIRawml& rawml) : rawml_(rawml) {
  // One pass over every part, so that each link costs a search, not a scan.
  for (const MOBIPart* part = rawml.markup; part != nullptr; part = part->next) {
    std::string_view text = PartText(*part);
    std::vector<IdAt>& ids = ids_[part->uid];
    for (size_t tag = text.find('<'), end; tag != npos; tag = text.find('<', end)) {
      end = TagEnd(text, tag);
      if (end == npos) break;
      std::string_view id = AttributeValue(text.substr(tag, end - tag), "id");
      // An id with a quote in it could not stand inside the link's quotes.
      if (!id.empty() && id.find_first_of("\"'") == npos) ids.push_back({end, id});
    }
  }
}

std::string Kf8Links::Resolve(std::string_view url) const {
  constexpr std::string_view kPosition = "kindle:pos:fid:";
  constexpr std::string_view kPicture = "kindle:embed:";
  if (url.compare(0, kPosition.size(), kPosition) == 0) {
    std::string_view rest = url.substr(kPosition.size());
    size_t colon = rest.find(':');
    if (colon == npos || rest.compare(colon, 5, ":off:") != 0) return "#";
    return PositionTarget(rest.substr(0, colon), rest.substr(colon + 5));
  }
  if (url.compare(0, kPicture.size(), kPicture) == 0) {
    std::string_view number = url.substr(kPicture.size());
    return PictureName(number.substr(0, number.find('?')));
  }
  return std::string();  // style sheets (kindle:flow) go with the heads
}

std::string Kf8Links::PositionTarget(std::string_view fid, std::string_view off) const {
  uint32_t fragment, offset;
  if (!DecodeBase32(fid, &fragment) || !DecodeBase32(off, &offset)) return "#";
  return PositionAnchor(fragment, offset);
}

std::string Kf8Links::PositionAnchor(uint32_t fragment, uint32_t offset) const {
  const MOBIIndx* fragments = rawml_.frag;
  const MOBIIndx* skeletons = rawml_.skel;
  uint32_t file, skeletonStart;
  uint64_t fragmentStart;
  if (fragments == nullptr || skeletons == nullptr || fragments->entries == nullptr ||
      skeletons->entries == nullptr || fragment >= fragments->entries_count) {
    return "#";
  }
  const MOBIIndexEntry& entry = fragments->entries[fragment];
  if (!TagValue(entry, kFragmentFileTag, &file) || file >= skeletons->entries_count ||
      !LabelNumber(entry.label, &fragmentStart) ||
      !TagValue(skeletons->entries[file], kSkeletonPositionTag, &skeletonStart)) {
    return "#";
  }
  auto ids = ids_.find(file);
  if (ids == ids_.end()) return "#";
  // Offset 0 is the top of the file, as libmobi reads it too.
  if (offset == 0 || fragmentStart < skeletonStart) return PartAnchor(file);
  uint64_t place = fragmentStart - skeletonStart + offset;
  auto next = std::upper_bound(ids->second.begin(), ids->second.end(), place,
                               [](uint64_t at, const IdAt& id) { return at < id.tagEnd; });
  if (next == ids->second.end()) return PartAnchor(file);
  return "#" + std::string(next->id);
}

std::string Kf8Links::PictureName(std::string_view number) const {
  uint32_t index;
  if (!DecodeBase32(number, &index) || index == 0) return std::string();
  const MOBIPart* resource = mobi_get_resource_by_uid(&rawml_, index - 1);
  return resource != nullptr ? ImageFileName(*resource) : std::string();
}

}  // namespace kavmobi
