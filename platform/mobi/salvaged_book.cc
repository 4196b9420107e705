#include "platform/mobi/salvaged_book.h"

#include <stdint.h>
#include <stdio.h>

#include <map>

#include "platform/mobi/filepos_anchors.h"
#include "platform/mobi/kf8_join.h"
#include "platform/mobi/kf8_links.h"
#include "platform/mobi/resource_writer.h"
#include "platform/mobi/text_records.h"
#include "platform/mobi/utf8_charset.h"

namespace kavmobi {
namespace {

constexpr size_t npos = std::string_view::npos;
constexpr char kReplacement[] = "\xef\xbf\xbd";  // U+FFFD

void AppendUtf8(uint32_t c, std::string& out) {
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xc0 | c >> 6);
    out += static_cast<char>(0x80 | (c & 0x3f));
  } else {
    out += static_cast<char>(0xe0 | c >> 12);
    out += static_cast<char>(0x80 | (c >> 6 & 0x3f));
    out += static_cast<char>(0x80 | (c & 0x3f));
  }
}

// Windows-1252: Latin-1 but for 0x80-0x9F; its five unused bytes become U+FFFD.
std::string Cp1252ToUtf8(std::string_view text) {
  static const uint16_t k80To9F[32] = {
      0x20ac, 0xfffd, 0x201a, 0x0192, 0x201e, 0x2026, 0x2020, 0x2021, 0x02c6, 0x2030, 0x0160,
      0x2039, 0x0152, 0xfffd, 0x017d, 0xfffd, 0xfffd, 0x2018, 0x2019, 0x201c, 0x201d, 0x2022,
      0x2013, 0x2014, 0x02dc, 0x2122, 0x0161, 0x203a, 0x0153, 0xfffd, 0x017e, 0x0178};
  std::string out;
  out.reserve(text.size() + text.size() / 8);
  for (char ch : text) {
    const unsigned char c = static_cast<unsigned char>(ch);
    AppendUtf8(c >= 0x80 && c <= 0x9f ? k80To9F[c - 0x80] : c, out);
  }
  return out;
}

// Some character that is not white space stands outside the tags.
bool HasReadableText(std::string_view html) {
  bool inTag = false;
  for (char c : html) {
    if (c == '<' || c == '>') {
      inTag = c == '<';
    } else if (!inTag && c != ' ' && c != '\t' && c != '\n' && c != '\r') {
      return true;
    }
  }
  return false;
}

}  // namespace

std::string ValidUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c < 0x80) {
      if (c >= 0x20 || c == '\t' || c == '\n' || c == '\r') out += static_cast<char>(c);
      ++i;
      continue;
    }
    // The sequence's length and the smallest code it may carry (no overlong forms).
    const size_t length = c >= 0xc2 && c <= 0xdf   ? 2
                          : c >= 0xe0 && c <= 0xef ? 3
                          : c >= 0xf0 && c <= 0xf4 ? 4
                                                   : 0;
    uint32_t code = length == 2 ? c & 0x1f : length == 3 ? c & 0x0f : c & 0x07;
    size_t n = 1;
    while (length != 0 && n < length && i + n < text.size() &&
           (static_cast<unsigned char>(text[i + n]) & 0xc0) == 0x80) {
      code = code << 6 | (static_cast<unsigned char>(text[i + n]) & 0x3f);
      ++n;
    }
    const uint32_t least = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    if (length != 0 && n == length && code >= least && code <= 0x10ffff &&
        (code < 0xd800 || code > 0xdfff)) {
      out.append(text.substr(i, n));
      i += n;
    } else {
      out += kReplacement;
      ++i;  // one replacement a byte
    }
  }
  return out;
}

std::string WithPictureSources(std::string_view html, const MOBIPart* pictures) {
  constexpr std::string_view kAttribute = " recindex=\"";
  std::map<size_t, const MOBIPart*> byUid;
  for (const MOBIPart* p = pictures; p != nullptr; p = p->next) byUid.emplace(p->uid, p);
  std::string out;
  out.reserve(html.size());
  size_t copied = 0;
  for (size_t at = html.find(kAttribute); at != npos; at = html.find(kAttribute, at + 1)) {
    const size_t digits = at + kAttribute.size(), close = html.find('"', digits);
    if (close == npos || close - digits > 9) continue;
    size_t number = 0;
    for (size_t i = digits; i < close && number != npos; ++i) {
      number = html[i] >= '0' && html[i] <= '9' ? number * 10 + static_cast<size_t>(html[i] - '0')
                                                : npos;
    }
    auto picture = number != 0 && number != npos ? byUid.find(number - 1) : byUid.end();
    if (picture == byUid.end()) continue;
    const std::string name = ImageFileName(*picture->second);
    if (name.empty()) continue;
    out.append(html.substr(copied, at - copied));
    out += " src=\"" + name + "\"";
    copied = close + 1;
  }
  out.append(html.substr(copied));
  return out;
}

bool SalvageBook(const MOBIData& m, SalvagedBook* book) {
  const std::string records = ReadTextRecords(m);
  // A KF8 text holds the style sheets after the HTML; the flow table counts
  // in the text's own bytes.
  const bool kf8 = mobi_is_kf8(&m);
  std::string_view flow = kf8 ? HtmlFlow(m, records) : std::string_view(records);
  const bool cp1252 =
      m.mh != nullptr && m.mh->text_encoding != nullptr && IsCp1252(*m.mh->text_encoding);
  const std::string text = ValidUtf8(cp1252 ? Cp1252ToUtf8(flow) : std::string(flow));
  if (!HasReadableText(text)) return false;
  book->pictures = PictureRecords(m);
  const MOBIPart* pictures = book->pictures.empty() ? nullptr : &book->pictures.front();
  if (kf8) {
    // Without the indices a position cannot be placed: such links point
    // nowhere; pictures are numbered by resource and still found.
    MOBIRawml rawml = {};
    rawml.resources = const_cast<MOBIPart*>(pictures);
    Kf8Links links(rawml);
    book->html =
        ReadableKf8Flow(text, [&links](std::string_view url) { return links.Resolve(url); });
  } else {
    book->html = WithUtf8Charset(WithNamedAnchors(WithPictureSources(text, pictures)));
  }
  return true;
}

}  // namespace kavmobi
