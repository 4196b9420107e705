#ifndef KAV_EPUB_CONVERT_CHAPTERS_H_
#define KAV_EPUB_CONVERT_CHAPTERS_H_

#include <cstddef>
#include <string>

namespace kav_convert {

// The longest line, in characters, that can be a heading: a heading stands
// alone on a short line.
constexpr size_t kHeadingMaxChars = 60;

// Tells chapter headings from text, by the built-in shapes (English,
// Chinese and Japanese chapter, part, book, prologue ... lines) or by a
// Perl-compatible regular expression. Not shared between threads.
class ChapterFinder {
 public:
  ChapterFinder();
  ~ChapterFinder();
  ChapterFinder(const ChapterFinder&) = delete;
  ChapterFinder& operator=(const ChapterFinder&) = delete;

  // An empty pattern chooses the built-in shapes. 0, or KAV_ERR_BAD_PATTERN
  // with PCRE2's message and the offset in the pattern where it failed.
  int Compile(const std::string& pattern, std::string* message, size_t* offset);

  // Whether the line (a whole text line, its line end included or not) is a
  // heading; when it is, heading receives it without surrounding blanks.
  bool IsHeading(const char* line, size_t length, std::string* heading);

 private:
  struct Compiled;
  Compiled* compiled_;
};

}  // namespace kav_convert

#endif  // KAV_EPUB_CONVERT_CHAPTERS_H_
