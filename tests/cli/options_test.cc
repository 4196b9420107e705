#include "cli/options.h"

#include <vector>

#include "support/test_support.h"

namespace {

bool Parse(std::vector<const char*> words, kavcli::Options* options, std::string* error) {
  std::vector<char*> argv;
  for (const char* w : words) argv.push_back(const_cast<char*>(w));
  const std::vector<kavcli::OptionDef> defs = {{"title", '\0', "T", ""},
                                                 {"cover", '\0', "IMAGE", ""},
                                                 {"jobs", 'j', "N", ""},
                                                 {"output", 'o', "FILE", ""},
                                                 {"quiet", 'q', nullptr, ""}};
  return kavcli::ParseOptions(static_cast<int>(argv.size()), argv.data(), 0, defs, options, error);
}

// Options and file names mix in any order; "-" and all after "--" are file names.
TEST(Options, KnownOptionsTakeValuesAnywhereOthersAreRefused) {
  kavcli::Options options;
  std::string error;
  ASSERT_TRUE(Parse({"a.txt", "--title", "T -x", "-q", "--cover=c.jpg", "-j4", "-o", "o.epub", "-",
                     "--", "--b.epub"},
                    &options, &error));
  EXPECT_EQ((std::vector<std::string>{"a.txt", "-", "--b.epub"}), options.positional);
  EXPECT_EQ((std::vector<std::string>{"T -x", "c.jpg", "4", "o.epub", "none"}),
            (std::vector<std::string>{options.Get("title", ""), options.Get("cover", ""),
                                      options.Get("jobs", ""), options.Get("output", ""),
                                      options.Get("author", "none")}));
  EXPECT_TRUE(options.quiet);
  for (const auto& words : std::vector<std::vector<const char*>>{
           {"--author", "A"}, {"a", "--title"}, {"-x"}, {"-qx"}, {"--quiet=yes"}, {"-o"}}) {
    kavcli::Options refused;
    error.clear();
    EXPECT_FALSE(Parse(words, &refused, &error) || error.empty()) << words[0];
  }
}

}  // namespace
