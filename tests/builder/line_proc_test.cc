#include <stdlib.h>
#include <string.h>

#include <array>
#include <memory>
#include <tuple>

#include "builder/epub_base.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using Counters = std::array<int, 3>;  // indent, previous length, longest length

TEST(LineProcTest, ClassifiesAndCleansLines) {
  // {line, counters before, result, cleaned text, counters after}
  const std::tuple<std::string, Counters, int, std::string, Counters> cases[] = {
      {"\n", {0, 10, 10}, 1, " ", {0, 1, 10}},                         // a line feed alone
      {"\n", {2, 10, 10}, 0, " ", {0, 1, 10}},                         // ... back at the margin
      {"  World\n", {0, 6, 6}, 1, "  World ", {2, 8, 8}},              // indented
      {"World\n", {2, 8, 8}, 0, "World ", {0, 6, 8}},                  // back at the margin
      {"\xE2\x80\xA2x\n", {1, 8, 8}, 1, "\xE2\x80\xA2x ", {1, 5, 8}},  // bullet, same count
      {"\xEF\x81\xAEx\n", {1, 8, 8}, 1, "\xEF\x81\xAEx ", {1, 5, 8}},
      {"\xE2\x80\xA2 x\n", {0, 4, 4}, 1, "\xE2\x80\xA2 x ", {2, 6, 6}},    // bullet and a space
      {"Hello   world\n", {0, 14, 14}, 1, "Hello   world ", {0, 14, 14}},  // three spaces
      {"Hello  world\n", {0, 13, 13}, 0, "Hello  world ", {0, 13, 13}},    // two spaces
      {"Hello   \n", {0, 9, 9}, 1, "Hello    ", {0, 9, 9}},                // trailing, then \n
      {"Hello   ", {0, 8, 8}, 0, "Hello   ", {0, 8, 8}},                   // trailing at the end
      {"next\n", {0, 80, 100}, 1, "next ", {0, 5, 100}},                   // 80% of the longest
      {"next\n", {0, 81, 100}, 0, "next ", {0, 5, 100}},                   // 81%
      {"next\n", {0, 6, 7}, 0, "next ", {0, 5, 7}},                        // 5.6 truncates to 5
      {"next\n", {0, 0, 0}, 0, "next ", {0, 5, 5}},                        // first line of a page
      {"a &lt; b & c\n", {0, 13, 13}, 0, "a &amp;lt; b &amp; c ", {0, 13, 13}},
      {"a\nb\n", {0, 4, 4}, 0, "a\nb ", {0, 4, 4}},          // only the last \n
      {"a\030b\014c\n", {0, 6, 6}, 0, "a b c ", {0, 6, 6}},  // cancel and form feed
      {"", {2, 30, 40}, KAV_ERR_EMPTY_LINE, "", {2, 30, 40}},
      // Cut-off bullets: the classifier stops at the terminator.
      {"\xE2", {0, 0, 0}, 0, "\xE2", {0, 1, 1}},
      {"\xEF\x81", {0, 0, 0}, 0, "\xEF\x81", {0, 2, 2}},
      {"  \xE2\x80", {0, 0, 0}, 1, "  \xE2\x80", {2, 4, 4}},
  };
  for (const auto& [line, before, result, text, after] : cases) {
    SCOPED_TRACE(line);
    // A heap block of exactly the line's size, so AddressSanitizer sees any
    // read past the terminator.
    std::unique_ptr<char, decltype(&free)> exact(strdup(line.c_str()), free);
    std::string out = "stale";
    Counters n = before;
    EXPECT_EQ(result, EpubBase::LineProc(exact.get(), out, n[0], n[1], n[2]));
    EXPECT_EQ(text, out);
    EXPECT_EQ(after, n);
  }
  std::string out = "stale";
  Counters n = {2, 30, 40};
  EXPECT_CODE(KAV_ERR_EMPTY_LINE, EpubBase::LineProc(nullptr, out, n[0], n[1], n[2]));
  EXPECT_EQ("", out);
  EXPECT_EQ((Counters{2, 30, 40}), n);
}

}  // namespace
