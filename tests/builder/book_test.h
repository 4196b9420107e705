#ifndef KAV_EPUB_TESTS_BUILDER_BOOK_TEST_H_
#define KAV_EPUB_TESTS_BUILDER_BOOK_TEST_H_

#include <regex>
#include <string>
#include <vector>

#include "builder/epub_base.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace buildertest {

using Strings = std::vector<std::string>;

// The first group of every match of pattern in the file at path.
inline Strings Captures(const std::string& path, const std::string& pattern) {
  const std::string text = kavtest::ReadFile(path);
  const std::regex re(pattern);
  return {std::sregex_token_iterator(text.begin(), text.end(), re, 1), {}};
}

class BookTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_CODE(0, book.Init(root.path().c_str(), "T", "A")); }
  std::string Oebps(const std::string& name) { return root / "epub_temp/epub/OEBPS/" + name; }
  std::string File(const std::string& relative, const std::string& bytes = "img") {
    kavtest::MakeDirs((root / relative).substr(0, (root / relative).rfind('/')));
    kavtest::WriteFile(root / relative, bytes);
    return root / relative;
  }
  void Page(const Strings& lines = {}) {
    ASSERT_CODE(0, book.StartPage());
    for (const std::string& line : lines) ASSERT_CODE(0, book.AddTextLineToPage(line.c_str()));
    ASSERT_CODE(0, book.EndPage());
  }
  // Saves content.opf and toc.ncx and packs the book.
  void Save() { ASSERT_CODE(0, book.GenerateEpub((root / "book.epub").c_str())); }
  // The manifest's items, in order (their media types are the package's concern).
  Strings Manifest() { return Captures(Oebps("content.opf"), "<item [^>]*href=\"([^\"]*)\""); }
  Strings Nav() { return Captures(Oebps("toc.ncx"), "<content src=\"([^\"]*)\""); }
  Strings Images(const std::string& page) { return Captures(Oebps(page), "<img src=\"([^\"]*)\""); }
  Strings Paragraphs(const std::string& page) {
    return Captures(Oebps(page), "<p class=\"text\"(?:/>|>([^<]*)</p>)");
  }
  kavtest::TempDir root;
  EpubBase book;
};

}  // namespace buildertest

#endif  // KAV_EPUB_TESTS_BUILDER_BOOK_TEST_H_
