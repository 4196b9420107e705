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

// Copies one tag, prefixing a numeric value of id="..." or href="#...".
void CopyTag(std::string_view tag, std::string* out) {
  size_t copied = 0;
  for (std::string_view marker : {std::string_view(" id=\""), std::string_view(" href=\"#")}) {
    size_t at = tag.find(marker);
    if (at == std::string_view::npos || at < copied) continue;
    size_t valueStart = at + marker.size();
    size_t valueEnd = tag.find('"', valueStart);
    if (valueEnd == std::string_view::npos) continue;
    if (!AllDigits(tag.substr(valueStart, valueEnd - valueStart))) continue;
    out->append(tag.substr(copied, valueStart - copied));
    out->append(kPrefix);
    copied = valueStart;
  }
  out->append(tag.substr(copied));
}

}  // namespace

std::string WithNamedAnchors(std::string_view html) {
  std::string out;
  out.reserve(html.size() + html.size() / 64);
  size_t at = 0;
  while (at < html.size()) {
    size_t open = html.find('<', at);
    if (open == std::string_view::npos) break;
    size_t close = TagEnd(html, open);
    if (close == std::string_view::npos) break;
    out.append(html.substr(at, open - at));
    CopyTag(html.substr(open, close - open), &out);
    at = close;
  }
  out.append(html.substr(at));
  return out;
}

}  // namespace kavmobi
