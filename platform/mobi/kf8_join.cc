#include "platform/mobi/kf8_join.h"

#include <stdio.h>

#include "platform/mobi/html_scan.h"
#include "platform/mobi/utf8_charset.h"

namespace kavmobi {
namespace {

constexpr size_t npos = std::string_view::npos;

// Appends text with each quoted attribute value that starts with "kindle:"
// replaced by what resolve gives for it.
void AppendResolvingLinks(std::string_view text, const LinkResolver& resolve, std::string& out) {
  size_t copied = 0;
  for (size_t at = text.find("kindle:"); at != npos; at = text.find("kindle:", at + 1)) {
    char quote = at > 0 ? text[at - 1] : 0;
    size_t end = (quote == '"' || quote == '\'') ? text.find(quote, at) : npos;
    if (end == npos) continue;
    std::string target = resolve(text.substr(at, end - at));
    if (target.empty()) continue;
    out.append(text.substr(copied, at - copied));
    out.append(target);
    copied = at = end;
  }
  out.append(text.substr(copied));
}

void AppendAnchor(std::string_view id, char quote, std::string& out) {
  out += "<a id=";
  out += quote;
  out.append(id);
  out += quote;
  out += "></a>";
}

void AppendPart(const MarkupPart& part, const LinkResolver& resolve, std::string& out) {
  std::string_view html = part.html;
  AppendAnchor(PartAnchorId(part.uid), '"', out);
  size_t body = FindStartTag(html, "body");
  size_t contentStart = body == npos ? npos : TagEnd(html, body);
  if (contentStart == npos) {
    // No usable body: keep the whole text, the parser copes with the rest.
    AppendResolvingLinks(html, resolve, out);
    return;
  }
  // Links to the part may name the body's id; keep it as an anchor.
  std::string_view bodyTag = html.substr(body, contentStart - body);
  std::string_view bodyId = AttributeValue(bodyTag, "id");
  if (!bodyId.empty()) AppendAnchor(bodyId, bodyId.find('"') == npos ? '"' : '\'', out);
  size_t contentEnd = FindLastEndTag(html, "body");
  if (contentEnd == npos || contentEnd < contentStart) contentEnd = html.size();
  AppendResolvingLinks(html.substr(contentStart, contentEnd - contentStart), resolve, out);
}

}  // namespace

std::string PartAnchorId(size_t uid) {
  char id[32];
  snprintf(id, sizeof id, "part%05zu", uid);
  return id;
}

std::string JoinKf8Parts(const std::vector<MarkupPart>& parts, const LinkResolver& resolve) {
  size_t size = 128;
  for (const MarkupPart& part : parts) size += part.html.size() + 64;
  std::string out;
  out.reserve(size);
  out += "<html><head>";
  out += kUtf8Meta;
  out += "<title></title></head><body>";
  for (const MarkupPart& part : parts) AppendPart(part, resolve, out);
  out += "</body></html>";
  return out;
}

}  // namespace kavmobi
