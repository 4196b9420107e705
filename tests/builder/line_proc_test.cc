#include <stdlib.h>
#include <string.h>

#include <array>
#include <memory>
#include <tuple>

#include "book_test.h"

namespace buildertest {

TEST(LineProcTest, ClassifiesAndCleansLines) {
  using Counters = std::array<int, 3>;  // indent, previous length, longest length
  // {line, counters before, result, cleaned text, counters after}
  const std::tuple<const char*, Counters, int, std::string, Counters> cases[] = {
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
      {nullptr, {2, 30, 40}, KAV_ERR_EMPTY_LINE, "", {2, 30, 40}},
      // Cut-off bullets: the classifier stops at the terminator.
      {"\xE2", {0, 0, 0}, 0, "\xE2", {0, 1, 1}},
      {"\xEF\x81", {0, 0, 0}, 0, "\xEF\x81", {0, 2, 2}},
      {"  \xE2\x80", {0, 0, 0}, 1, "  \xE2\x80", {2, 4, 4}}};
  for (auto [line, n, result, text, after] : cases) {
    // Exactly the line's size on the heap: AddressSanitizer sees reads past the end.
    std::unique_ptr<char, decltype(&free)> exact(line ? strdup(line) : nullptr, free);
    std::string out = "stale";
    const int got = EpubBase::LineProc(exact.get(), out, n[0], n[1], n[2]);
    EXPECT_EQ(std::make_tuple(result, text, after), std::make_tuple(got, out, n)) << line;
  }
}

}  // namespace buildertest
