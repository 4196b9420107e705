#include <string.h>

#include "builder/epub_base.h"
#include "builder/line_text.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

namespace {

// U+2022 (bullet) or U+F06E (a private-use bullet glyph) in UTF-8. The bytes
// are compared one at a time, so a line ending right after E2 or EF stops at
// its terminator and nothing beyond it is read.
bool IsBullet(const unsigned char* p) {
  return (p[0] == 0xE2 && p[1] == 0x80 && p[2] == 0xA2) ||
         (p[0] == 0xEF && p[1] == 0x81 && p[2] == 0xAE);
}

// A previous line no longer than 80% of the longest line ended a paragraph.
// The product is taken in single precision and truncated toward zero.
int ShortLineLimit(int maxLineLen) {
  return static_cast<int>(static_cast<float>(maxLineLen) * 0.8f);
}

// Replaces every byte "from" in text[0, length) with "to".
void ReplaceByte(char* text, size_t length, char from, char to) {
  char* end = text + length;
  for (char* at = text; (at = static_cast<char*>(memchr(at, from, end - at))) != nullptr; ++at) {
    *at = to;
  }
}

// True when three spaces in a row are followed by at least one more byte,
// that is when text[j, j + 2] are spaces for some j + 3 < length. The scan
// tests the last byte of each candidate run first: a byte that is no space
// rules out every run through it, so most bytes are never looked at.
bool HasInnerGap(const unsigned char* text, size_t length) {
  size_t end = 2;  // the last byte of the run under test
  while (end + 1 < length) {
    if (text[end] != ' ') {
      end += 3;
    } else if (text[end - 1] != ' ') {
      end += 2;
    } else if (text[end - 2] != ' ') {
      end += 1;
    } else {
      return true;
    }
  }
  return false;
}

}  // namespace

namespace kav_builder {

int ClassifyLine(const char* line, int& prevIndent, int& prevLineLen, int& maxLineLen) {
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(line);
  int newPara = bytes[0] == '\n' ? 1 : 0;
  int len = static_cast<int>(strlen(line));

  // Leading indentation: spaces and bullets count one each; a bullet also
  // marks a new paragraph.
  int indent = 0;
  int pos = 0;
  while (pos < len) {
    if (bytes[pos] == ' ') {
      ++indent;
      ++pos;
    } else if (IsBullet(bytes + pos)) {
      ++indent;
      pos += 3;
      newPara = 1;
    } else {
      break;
    }
  }

  if (indent != prevIndent) {
    // A change of indentation decides alone: deeper or newly indented lines
    // begin a paragraph, a line back at the margin continues one.
    newPara = indent > 0 ? 1 : 0;
    prevIndent = indent;
  } else if (newPara == 0) {
    // A run of three spaces followed by anything begins a new paragraph. The
    // walk starts at the indentation count, as bytes, even after bullets.
    if (indent < len && HasInnerGap(bytes + indent, static_cast<size_t>(len - indent))) {
      newPara = 1;
    }
    if (newPara == 0 && maxLineLen != 0 && prevLineLen <= ShortLineLimit(maxLineLen)) {
      newPara = 1;
    }
  }

  // Updated after the decision, so the short-line rule compares the line
  // before this one against the longest line before this one.
  if (len > maxLineLen) maxLineLen = len;
  prevLineLen = len;
  return newPara;
}

void AppendLineText(std::string& dest, const char* line) {
  const char* end = line + strlen(line);
  const size_t start = dest.size();
  // Every "&" first; the blanks below never make or remove one.
  const char* from = line;
  for (const char* amp; (amp = static_cast<const char*>(memchr(from, '&', end - from))) != nullptr;
       from = amp + 1) {
    dest.append(from, amp - from);
    dest.append("&amp;", 5);
  }
  dest.append(from, end - from);

  char* text = &dest[start];
  const size_t length = dest.size() - start;
  ReplaceByte(text, length, '\x18', ' ');
  // Only the last line feed joins this line to the next one.
  char* lastFeed = static_cast<char*>(memrchr(text, '\n', length));
  if (lastFeed != nullptr) *lastFeed = ' ';
  ReplaceByte(text, length, '\x0C', ' ');
}

}  // namespace kav_builder

int EpubBase::LineProc(const char* line, std::string& out, int& prevIndent, int& prevLineLen,
                       int& maxLineLen) {
  if (KavIsStrNullOrEmpty(line) != 0) {
    out.clear();
    return KAV_ERR_EMPTY_LINE;
  }
  const int newPara = kav_builder::ClassifyLine(line, prevIndent, prevLineLen, maxLineLen);
  out.clear();
  kav_builder::AppendLineText(out, line);
  return newPara;
}
