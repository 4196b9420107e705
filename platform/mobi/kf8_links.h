#ifndef KAV_EPUB_PLATFORM_MOBI_KF8_LINKS_H_
#define KAV_EPUB_PLATFORM_MOBI_KF8_LINKS_H_

#include <mobi.h>
#include <stdint.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kavmobi {

// Resolves the "kindle:" URLs of KF8 markup, as libmobi hands it out
// before its own link reconstruction, to targets in the joined document.
// (libmobi's reconstruction leaks memory when a damaged book fails it
// halfway; this one never fails: a link it cannot place points nowhere.)
class Kf8Links {
 public:
  explicit Kf8Links(const MOBIRawml& rawml);

  // The replacement for url, a whole attribute value starting with
  // "kindle:", or "" to keep it as it is:
  //  kindle:pos:fid:F:off:O  ->  "#id" of the first element with an id at or
  //                              after that place, "#partNNNNN" at a part's
  //                              start or with no such element, "#" if lost;
  //  kindle:embed:N?...      ->  the picture's file name (resource N-1).
  std::string Resolve(std::string_view url) const;
  // The same target for fragment and offset as numbers (a table-of-contents
  // entry's place).
  std::string PositionAnchor(uint32_t fragment, uint32_t offset) const;

 private:
  struct IdAt {
    size_t tagEnd;  // offset just past the tag that carries the id
    std::string_view id;
  };
  std::string PositionTarget(std::string_view fid, std::string_view off) const;
  std::string PictureName(std::string_view number) const;

  const MOBIRawml& rawml_;
  std::map<size_t, std::vector<IdAt>> ids_;  // per part uid, in text order
};

// Kindle numbers: base 32 with digits 0-9 and A-V; false when text is empty,
// holds another character or exceeds 32 bits.
bool DecodeBase32(std::string_view text, uint32_t* value);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_KF8_LINKS_H_
