#include "convert/language_guess.h"

#include <fingerprint.h>

#include <cctype>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#ifndef KAV_TEXTCAT_DATA
#define KAV_TEXTCAT_DATA "/usr/share/libexttextcat"
#endif

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

// The languages of Latin script told apart by their fingerprints, named as
// the fingerprint files are (which are their BCP 47 tags): the common ones
// only, since every fingerprint costs loading time.
const char* const kLatinLanguages[] = {"en", "fr", "de", "es", "it", "pt", "nl", "sv",
                                       "da", "nb", "fi", "pl", "cs", "sk", "ro", "hu",
                                       "tr", "id", "vi", "ca", "hr", "sl"};
// What is classified: the start of the text. A few kilobytes suffice.
constexpr size_t kLatinSample = 16 << 10;
// Shorter samples are too short to tell one language from another.
constexpr size_t kLatinMinimum = 80;
// The most n-grams a fingerprint holds (those of the library's files).
constexpr int kNgrams = 400;
// The best distance must beat the runner-up's by this factor.
constexpr double kMargin = 1.03;

struct Fingerprint {
  void operator()(void* handle) const { fp_Done(handle); }
};
using FingerprintPtr = std::unique_ptr<void, Fingerprint>;

FingerprintPtr NewFingerprint(const char* name) {
  FingerprintPtr fp(fp_Init(name));
  if (fp != nullptr) fp_SetProperty(fp.get(), TCPROP_UTF8AWARE, TC_TRUE);
  return fp;
}

// The fingerprints of kLatinLanguages, read once, on the first Latin text;
// empty when any file is missing (the guess is then "en").
const std::vector<FingerprintPtr>& LatinFingerprints() {
  static const std::vector<FingerprintPtr> loaded = [] {
    std::vector<FingerprintPtr> all;
    for (const char* language : kLatinLanguages) {
      FingerprintPtr fp = NewFingerprint(language);
      const std::string file = std::string(KAV_TEXTCAT_DATA) + "/" + language + ".lm";
      if (fp == nullptr || fp_Read(fp.get(), file.c_str(), kNgrams) == 0) {
        all.clear();
        break;
      }
      all.push_back(std::move(fp));
    }
    return all;
  }();
  return loaded;
}

// The language of a Latin-script text, "en" when unsure.
const char* GuessLatinLanguage(const char* text, size_t length) {
  length = length < kLatinSample ? length : kLatinSample;
  // Not into the middle of a character.
  while (length > 0 && length < kLatinSample &&
         (static_cast<unsigned char>(text[length]) & 0xC0) == 0x80) {
    --length;
  }
  const std::vector<FingerprintPtr>& languages = LatinFingerprints();
  if (length < kLatinMinimum || languages.empty()) return "en";
  FingerprintPtr sample = NewFingerprint("sample");
  if (sample == nullptr ||
      fp_Create(sample.get(), text, static_cast<uint4>(length), kNgrams) == 0) {
    return "en";
  }
  size_t best = 0;
  double bestScore = -1, secondScore = -1;
  for (size_t i = 0; i < languages.size(); ++i) {
    const double score = fp_Compare(languages[i].get(), sample.get(), 1 << 30);
    if (bestScore < 0 || score < bestScore) {
      secondScore = bestScore;
      bestScore = score;
      best = i;
    } else if (secondScore < 0 || score < secondScore) {
      secondScore = score;
    }
  }
  if (secondScore >= 0 && secondScore < bestScore * kMargin) return "en";
  return kLatinLanguages[best];
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
  if (best == kLatin && counts[kLatin] != 0) return GuessLatinLanguage(text, length);
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
