#include "platform/mobi/filepos_anchors.h"

#include <cctype>

#include "platform/mobi/html_scan.h"

namespace kavmobi {

namespace {

constexpr std::string_view kPrefix = "filepos";

bool AllDigits(std::string_view text) {
  if (text.empty()) return false;
  for (char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c))) return false;
  }
  return true;
}

// Offset of the first occurrence of marker in tag, or npos. Both markers
// start with a blank, so only the blanks of the tag are candidates.
size_t FindMarker(std::string_view tag, std::string_view marker) {
  for (size_t at = tag.find(' '); at != std::string_view::npos; at = tag.find(' ', at + 1)) {
    if (tag.compare(at, marker.size(), marker) == 0) return at;
  }
  return std::string_view::npos;
}

// Where one tag needs the prefix: at the numeric value of id="..." and of
// href="#...", the latter only when it does not start before the former's
// value. Returns how many of the two places it wrote to places.
int PrefixPlaces(std::string_view tag, size_t places[2]) {
  int count = 0;
  size_t copied = 0;
  for (std::string_view marker : {std::string_view(" id=\""), std::string_view(" href=\"#")}) {
    size_t at = FindMarker(tag, marker);
    if (at == std::string_view::npos || at < copied) continue;
    size_t valueStart = at + marker.size();
    size_t valueEnd = tag.find('"', valueStart);
    if (valueEnd == std::string_view::npos) continue;
    if (!AllDigits(tag.substr(valueStart, valueEnd - valueStart))) continue;
    places[count++] = valueStart;
    copied = valueStart;
  }
  return count;
}

}  // namespace

std::string WithNamedAnchors(std::string_view html) {
  std::string out;
  out.reserve(html.size() + html.size() / 64);
  // The text goes over unchanged between the places that take the prefix;
  // it is copied in runs up to each such place.
  size_t flushed = 0;
  size_t at = 0;
  while (at < html.size()) {
    size_t open = html.find('<', at);
    if (open == std::string_view::npos) break;
    size_t close = TagEnd(html, open);
    if (close == std::string_view::npos) break;
    size_t places[2];
    const int count = PrefixPlaces(html.substr(open, close - open), places);
    for (int i = 0; i < count; ++i) {
      const size_t place = open + places[i];
      out.append(html.substr(flushed, place - flushed));
      out.append(kPrefix);
      flushed = place;
    }
    at = close;
  }
  out.append(html.substr(flushed));
  return out;
}

}  // namespace kavmobi
