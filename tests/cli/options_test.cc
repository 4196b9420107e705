#include "cli/options.h"

#include <vector>

#include "support/test_support.h"

namespace {

bool Parse(std::vector<const char*> words, kavcli::Options* options, std::string* error) {
  std::vector<char*> argv;
  for (const char* w : words) argv.push_back(const_cast<char*>(w));
  return kavcli::ParseOptions(static_cast<int>(argv.size()), argv.data(), 0, {"title", "cover"},
                              options, error);
}

// Options and file names mix in any order; "-" and all after "--" are file names.
TEST(Options, KnownOptionsTakeValuesAnywhereOthersAreRefused) {
  kavcli::Options options;
  std::string error;
  ASSERT_TRUE(Parse({"a.txt", "--title", "T -x", "-q", "--cover=c.jpg", "-", "--", "--b.epub"},
                    &options, &error));
  EXPECT_EQ((std::vector<std::string>{"a.txt", "-", "--b.epub"}), options.positional);
  EXPECT_STREQ("T -x", options.Get("title", ""));
  EXPECT_STREQ("c.jpg", options.Get("cover", ""));
  EXPECT_STREQ("none", options.Get("author", "none"));
  EXPECT_TRUE(options.quiet);
  for (const auto& words :
       std::vector<std::vector<const char*>>{{"--author", "A"}, {"a", "--title"}, {"-x"}}) {
    kavcli::Options refused;
    error.clear();
    EXPECT_FALSE(Parse(words, &refused, &error) || error.empty()) << words[0];
  }
}

}  // namespace
