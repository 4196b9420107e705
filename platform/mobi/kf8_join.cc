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

// True when the tag at pos is the start tag (or with end, the end tag) of
// name; looks at the next few bytes only.
bool TagAt(std::string_view text, size_t pos, std::string_view name, bool end = false) {
  std::string_view start = text.substr(pos, name.size() + (end ? 3 : 2));
  return end ? FindLastEndTag(start, name) == 0 : FindStartTag(start, name) == 0;
}

void AppendDocumentStart(std::string& out) {
  out += "<html><head>";
  out += kUtf8Meta;
  out += "<title></title></head><body>";
}

}  // namespace

std::string PartAnchorId(size_t uid) {
  char id[32];
  snprintf(id, sizeof id, "part%05zu", uid);
  return id;
}

std::string JoinKf8Parts(const std::vector<MarkupPart>& parts, const LinkResolver& resolve,
                         bool pageBreaks) {
  size_t size = 128;
  for (const MarkupPart& part : parts) size += part.html.size() + 64;
  std::string out;
  out.reserve(size);
  AppendDocumentStart(out);
  for (const MarkupPart& part : parts) {
    if (pageBreaks && &part != &parts.front()) out += "<mbp:pagebreak/>";
    AppendPart(part, resolve, out);
  }
  out += "</body></html>";
  return out;
}

std::string ReadableKf8Flow(std::string_view flow, const LinkResolver& resolve) {
  std::string out;
  out.reserve(flow.size() + 128);
  AppendDocumentStart(out);
  size_t copied = 0;
  bool headEnds = true;
  for (size_t tag = flow.find('<'); tag != npos; tag = flow.find('<', tag + 1)) {
    size_t skipTo;
    if (flow.compare(tag, 2, "<?") == 0 || flow.compare(tag, 2, "<!") == 0) {
      // Declarations; a comment is kept, the parser knows it.
      if (flow.compare(tag, 4, "<!--") == 0) continue;
      skipTo = TagEnd(flow, tag);
    } else if (TagAt(flow, tag, "head")) {
      // To the end of the head; once none is left, a head is just its tag.
      skipTo = TagEnd(flow, tag);
      size_t close = headEnds ? flow.find("</", tag) : npos;
      while (close != npos && !TagAt(flow, close, "head", true)) close = flow.find("</", close + 2);
      headEnds = close != npos;
      if (headEnds) skipTo = TagEnd(flow, close);
    } else if (TagAt(flow, tag, "html") || TagAt(flow, tag, "html", true) ||
               TagAt(flow, tag, "body") || TagAt(flow, tag, "body", true)) {
      skipTo = TagEnd(flow, tag);
    } else {
      continue;
    }
    if (skipTo == npos) break;  // a tag that never closes: the rest is text
    AppendResolvingLinks(flow.substr(copied, tag - copied), resolve, out);
    copied = skipTo;
    tag = skipTo - 1;
  }
  AppendResolvingLinks(flow.substr(copied), resolve, out);
  out += "</body></html>";
  return out;
}

}  // namespace kavmobi
