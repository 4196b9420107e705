#ifndef KAV_EPUB_CONVERT_LANGUAGE_GUESS_H_
#define KAV_EPUB_CONVERT_LANGUAGE_GUESS_H_

#include <cstddef>
#include <string>

namespace kav_convert {

// The language of a UTF-8 text, as a BCP 47 tag, from the script most of
// its letters are written in: Han zh, Han with kana ja, Hangul ko, Cyrillic
// ru, Greek el, Arabic ar, Hebrew he, Thai th, Devanagari hi, Armenian hy,
// Georgian ka. Latin script is told apart by the n-gram fingerprints of
// libexttextcat (the common languages written in it, from the first 16 KB);
// text without letters, text too short or too close between two languages,
// and a machine without the fingerprints give "en".
std::string GuessLanguage(const char* text, size_t length);

// Whether tag has the shape of a BCP 47 language tag: a primary subtag of
// 2-3 letters (or 5-8), then subtags of 1-8 letters and digits.
bool IsLanguageTag(const char* tag);

}  // namespace kav_convert

#endif  // KAV_EPUB_CONVERT_LANGUAGE_GUESS_H_
