#include "convert/language_guess.h"

#include <cctype>
#include <cstring>

namespace kav_convert {

namespace {

enum Script {
  kLatin,
  kHan,
  kKana,
  kHangul,
  kCyrillic,
  kGreek,
  kArabic,
  kHebrew,
  kThai,
  kDevanagari,
  kArmenian,
  kGeorgian,
  kScripts,
  kOther = kScripts
};

const char* const kLanguageOf[kScripts] = {"en", "zh", "ja", "ko", "ru", "el",
                                           "ar", "he", "th", "hi", "hy", "ka"};

Script ScriptOf(unsigned int c) {
  if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= 0xC0 && c <= 0x24F)) {
    return c == 0xD7 || c == 0xF7 ? kOther : kLatin;
  }
  if (c >= 0x370 && c <= 0x3FF) return kGreek;
  if (c >= 0x400 && c <= 0x52F) return kCyrillic;
  if (c >= 0x530 && c <= 0x58F) return kArmenian;
  if (c >= 0x590 && c <= 0x5FF) return kHebrew;
  if (c >= 0x600 && c <= 0x6FF) return kArabic;
  if (c >= 0x900 && c <= 0x97F) return kDevanagari;
  if (c >= 0xE00 && c <= 0xE7F) return kThai;
  if (c >= 0x10A0 && c <= 0x10FF) return kGeorgian;
  if ((c >= 0x1100 && c <= 0x11FF) || (c >= 0x3130 && c <= 0x318F) ||
      (c >= 0xAC00 && c <= 0xD7AF)) {
    return kHangul;
  }
  if (c >= 0x3040 && c <= 0x30FF) return kKana;
  if ((c >= 0x3400 && c <= 0x4DBF) || (c >= 0x4E00 && c <= 0x9FFF) ||
      (c >= 0xF900 && c <= 0xFAFF) || (c >= 0x20000 && c <= 0x3FFFF)) {
    return kHan;
  }
  return kOther;
}

}  // namespace

std::string GuessLanguage(const char* text, size_t length) {
  size_t counts[kScripts + 1] = {};
  const unsigned char* s = reinterpret_cast<const unsigned char*>(text);
  for (size_t i = 0; i < length;) {
    unsigned int c = s[i];
    size_t size = 1;
    if (c >= 0xF0) {
      size = 4;
      c &= 0x07;
    } else if (c >= 0xE0) {
      size = 3;
      c &= 0x0F;
    } else if (c >= 0xC0) {
      size = 2;
      c &= 0x1F;
    }
    if (i + size > length) break;
    for (size_t k = 1; k < size; ++k) c = (c << 6) | (s[i + k] & 0x3F);
    ++counts[ScriptOf(c)];
    i += size;
  }
  // Japanese is written in Han and kana together; Chinese has no kana.
  counts[kKana] += counts[kKana] * 20 > counts[kHan] ? counts[kHan] : 0;
  int best = kLatin;
  for (int script = 0; script < kScripts; ++script) {
    if (counts[script] > counts[best]) best = script;
  }
  return kLanguageOf[best];
}

bool IsLanguageTag(const char* tag) {
  if (tag == nullptr || *tag == '\0' || strlen(tag) > 35) return false;
  size_t subtag = 0, index = 0;
  bool letters = true;
  for (const char* p = tag;; ++p) {
    if (*p == '-' || *p == '\0') {
      if (subtag == 0 || subtag > 8) return false;
      if (index == 0 && (!letters || subtag == 1 || subtag == 4)) return false;
      if (*p == '\0') return true;
      ++index;
      subtag = 0;
      letters = true;
    } else if (isalnum(static_cast<unsigned char>(*p))) {
      ++subtag;
      letters = letters && isalpha(static_cast<unsigned char>(*p));
    } else {
      return false;
    }
  }
}

}  // namespace kav_convert
