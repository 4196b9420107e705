#include <string>

#include "support/test_support.h"
#include "xml/xml_base.h"

namespace {

TEST(TextEscaping, PercentEncodingDecodesOnlyTheReservedCharacters) {
  const char* const cases[][2] = {
      {"My%20File%2Ehtml", "My File%2Ehtml"},
      {"a%2fb%2Fc", "a/b/c"},
      {"100%25", "100%25"},
      {"%2520", "%2520"},
      {"", ""},
      {"end%", "end%"},
      {"end%2", "end%2"},
      {"%21%23%24%26%27%28%29%2A%2b%2C%3A%3b%3D%3f%40%5B%5d", "!#$&'()*+,:;=?@[]"},
      {"%22%3C%3E%C3%A9", "%22%3C%3E%C3%A9"}};
  for (const auto& c : cases) {
    std::string text = c[0];
    EXPECT_EQ(&text, &XMLBase::PercentEncoding(text));
    EXPECT_EQ(c[1], text) << c[0];
  }
}

TEST(TextEscaping, ReplaceStringWorksFromTheEndAndNeverRescansInsertedText) {
  struct {
    const char *input, *pattern;
    int length;
    const char *replacement, *expected;
  } const cases[] = {{"aaaa", "aa", 2, "b", "bb"},  {"aaaa", "a", 1, "aa", "aaaaaaaa"},
                     {"xyz", "q", 1, "r", "xyz"},   {"abcabc", "b", 2, "X", "aXaX"},
                     {"abc", "a", 0, "_", "_abc"},  {"abc", "b", -1, "Z", "aZ"},
                     {"a.b", ".", 1, nullptr, "ab"}};
  for (const auto& c : cases) {
    std::string text = c.input;
    EXPECT_EQ(&text, &XMLBase::ReplaceString(text, c.pattern, c.length, c.replacement));
    EXPECT_EQ(c.expected, text) << c.input << " " << c.pattern;
  }
}

}  // namespace
