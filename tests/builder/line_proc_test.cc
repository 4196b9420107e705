#include <string.h>

#include <memory>

#include "builder/epub_base.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

struct Counters {
  int indent, prevLen, maxLen;
};

const std::string kBullet = "\xE2\x80\xA2";
const std::string kPrivateBullet = "\xEF\x81\xAE";

TEST(LineProcTest, ClassifiesAndCleansLines) {
  const struct {
    std::string line;
    Counters before;
    int result;
    std::string out;
    Counters after;
  } cases[] = {
      {"\n", {0, 10, 10}, 1, " ", {0, 1, 10}},                     // a line feed alone
      {"\n", {2, 10, 10}, 0, " ", {0, 1, 10}},                     // ... back at the margin
      {"  World\n", {0, 6, 6}, 1, "  World ", {2, 8, 8}},          // indented
      {"World\n", {2, 8, 8}, 0, "World ", {0, 6, 8}},              // back at the margin
      {kBullet + "x\n", {1, 8, 8}, 1, kBullet + "x ", {1, 5, 8}},  // bullet, same count
      {kPrivateBullet + "x\n", {1, 8, 8}, 1, kPrivateBullet + "x ", {1, 5, 8}},
      {kBullet + " x\n", {0, 4, 4}, 1, kBullet + " x ", {2, 6, 6}},        // bullet and a space
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
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    std::string out = "stale";
    Counters n = c.before;
    EXPECT_EQ(c.result, EpubBase::LineProc(c.line.c_str(), out, n.indent, n.prevLen, n.maxLen));
    EXPECT_EQ(c.out, out);
    EXPECT_EQ(c.after.indent, n.indent);
    EXPECT_EQ(c.after.prevLen, n.prevLen);
    EXPECT_EQ(c.after.maxLen, n.maxLen);
  }
}

TEST(LineProcTest, EmptyLineReturns407AndTruncatedBulletStopsAtTheTerminator) {
  std::string out = "stale";
  int indent = 2, prev = 30, longest = 40;
  EXPECT_CODE(KAV_ERR_EMPTY_LINE, EpubBase::LineProc("", out, indent, prev, longest));
  EXPECT_CODE(KAV_ERR_EMPTY_LINE, EpubBase::LineProc(nullptr, out, indent, prev, longest));
  EXPECT_EQ("", out);
  EXPECT_EQ(2 + 30 + 40, indent + prev + longest);

  // Each line fills a heap block exactly, so a read past its terminator is
  // caught by AddressSanitizer.
  for (std::string line : {"\xE2", "\xEF\x81", "  \xE2\x80"}) {
    std::unique_ptr<char[]> exact(new char[line.size() + 1]);
    memcpy(exact.get(), line.c_str(), line.size() + 1);
    indent = prev = longest = 0;
    EpubBase::LineProc(exact.get(), out, indent, prev, longest);
    EXPECT_EQ(line[0] == ' ' ? 2 : 0, indent);
    EXPECT_EQ(line, out);
  }
}

}  // namespace
