#include "convert/chapters.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include "service/kav_result.h"

namespace kav_convert {

namespace {

// The built-in heading shapes. A title may follow the number after a
// separator, but a line that ends like a sentence (a full stop, a comma) is
// text that only begins like a heading.
constexpr char kBuiltInShapes[] =
    "^(?:"
    // Chapter 12, CHAPTER XII, Chapter 3. The Storm, Part One, Book II
    "(?i:chapter|part|book)\\s+"
    "(?:\\d{1,4}|[IVXLCDM]{1,8}|"
    "(?i:one|two|three|four|five|six|seven|eight|nine|ten|eleven|twelve|thirteen|fourteen|"
    "fifteen|sixteen|seventeen|eighteen|nineteen|twenty|thirty|forty|fifty)"
    "(?:[- ](?i:one|two|three|four|five|six|seven|eight|nine))?)"
    "(?:\\s*[.:]|\\s*[.:\\-\\x{2013}\\x{2014}]?\\s+\\S(?:.*[^.,;])?)?"
    // Prologue, Epilogue: The End
    "|(?i:prologue|epilogue)(?:\\s*[.:\\-\\x{2013}\\x{2014}]?\\s+\\S(?:.*[^.,;])?)?"
    // 第一章 风起, 第12章, 第一回, 第三卷 ..., 第一話
    "|第\\s*[0-9０-９一二三四五六七八九十百千万零〇两兩]+\\s*[章回卷节節部集篇话話幕]"
    "(?:[\\s\\x{3000}:：、.·]+\\S(?:.*[^。，；,;])?)?"
    // 序章, 楔子, 番外 ...
    "|(?:序章|序幕|楔子|番外|尾声|尾聲|终章|終章|引子)(?:[\\s\\x{3000}:：、.·]*\\S(?:.*[^。，；,;])"
    "?)?"
    "|プロローグ|エピローグ"
    ")$";

bool IsBlankAt(const unsigned char* text, size_t at, size_t length, size_t* size) {
  if (at >= length) return false;
  const unsigned char c = text[at];
  if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v') {
    *size = 1;
    return true;
  }
  // U+3000, the ideographic space of CJK indentation.
  if (c == 0xE3 && at + 2 < length && text[at + 1] == 0x80 && text[at + 2] == 0x80) {
    *size = 3;
    return true;
  }
  return false;
}

bool IsBlankBefore(const unsigned char* text, size_t end, size_t* size) {
  if (end == 0) return false;
  const unsigned char c = text[end - 1];
  if (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f' || c == '\v') {
    *size = 1;
    return true;
  }
  if (end >= 3 && text[end - 3] == 0xE3 && text[end - 2] == 0x80 && c == 0x80) {
    *size = 3;
    return true;
  }
  return false;
}

}  // namespace

struct ChapterFinder::Compiled {
  pcre2_code* code = nullptr;
  pcre2_match_data* match = nullptr;
};

ChapterFinder::ChapterFinder() : compiled_(new Compiled()) {}

ChapterFinder::~ChapterFinder() {
  pcre2_match_data_free(compiled_->match);
  pcre2_code_free(compiled_->code);
  delete compiled_;
}

int ChapterFinder::Compile(const std::string& pattern, std::string* message, size_t* offset) {
  const std::string& source = pattern.empty() ? std::string(kBuiltInShapes) : pattern;
  int error = 0;
  PCRE2_SIZE at = 0;
  pcre2_code* code =
      pcre2_compile(reinterpret_cast<PCRE2_SPTR>(source.data()), source.size(),
                    PCRE2_UTF | PCRE2_UCP | PCRE2_MATCH_INVALID_UTF, &error, &at, nullptr);
  if (code == nullptr) {
    PCRE2_UCHAR text[256];
    pcre2_get_error_message(error, text, sizeof text);
    if (message != nullptr) *message = reinterpret_cast<const char*>(text);
    if (offset != nullptr) *offset = at;
    return KAV_ERR_BAD_PATTERN;
  }
  pcre2_jit_compile(code, PCRE2_JIT_COMPLETE);  // slower without, never wrong
  pcre2_match_data_free(compiled_->match);
  pcre2_code_free(compiled_->code);
  compiled_->code = code;
  compiled_->match = pcre2_match_data_create_from_pattern(code, nullptr);
  return KAV_OK;
}

bool ChapterFinder::IsHeading(const char* line, size_t length, std::string* heading) {
  if (compiled_->code == nullptr || compiled_->match == nullptr) return false;
  const unsigned char* text = reinterpret_cast<const unsigned char*>(line);
  size_t begin = 0, end = length, size = 0;
  while (IsBlankAt(text, begin, end, &size)) begin += size;
  while (end > begin && IsBlankBefore(text, end, &size)) end -= size;
  if (end == begin) return false;
  size_t characters = 0;
  for (size_t i = begin; i < end; ++i) {
    if ((text[i] & 0xC0) != 0x80 && ++characters > kHeadingMaxChars) return false;
  }
  const int found =
      pcre2_match(compiled_->code, text + begin, end - begin, 0, 0, compiled_->match, nullptr);
  if (found < 0) return false;
  if (heading != nullptr) heading->assign(line + begin, end - begin);
  return true;
}

}  // namespace kav_convert
