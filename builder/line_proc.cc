#include <string.h>

#include "builder/epub_base.h"
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

void ReplaceAll(std::string& text, char from, const char* to) {
  size_t toLen = strlen(to);
  for (size_t pos = text.find(from); pos != std::string::npos; pos = text.find(from, pos + toLen)) {
    text.replace(pos, 1, to);
  }
}

// The text a raw line contributes to its paragraph.
std::string CleanLine(const char* line) {
  std::string out(line);
  ReplaceAll(out, '&', "&amp;");
  ReplaceAll(out, '\x18', " ");
  // Only the last line feed joins this line to the next one.
  size_t lastFeed = out.rfind('\n');
  if (lastFeed != std::string::npos) out[lastFeed] = ' ';
  ReplaceAll(out, '\x0C', " ");
  return out;
}

}  // namespace

int EpubBase::LineProc(const char* line, std::string& out, int& prevIndent, int& prevLineLen,
                       int& maxLineLen) {
  if (KavIsStrNullOrEmpty(line) != 0) {
    out.clear();
    return KAV_ERR_EMPTY_LINE;
  }
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
    int run = 0;
    for (int i = indent; i < len; ++i) {
      if (run > 2) {
        newPara = 1;
        break;
      }
      run = bytes[i] == ' ' ? run + 1 : 0;
    }
    if (newPara == 0 && maxLineLen != 0 && prevLineLen <= ShortLineLimit(maxLineLen)) {
      newPara = 1;
    }
  }

  // Updated after the decision, so the short-line rule compares the line
  // before this one against the longest line before this one.
  if (len > maxLineLen) maxLineLen = len;
  prevLineLen = len;

  out = CleanLine(line);
  return newPara;
}
