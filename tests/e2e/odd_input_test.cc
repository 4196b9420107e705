// Input no sane book has: bytes that are not UTF-8 text, names and references
// of 10,000 bytes. Every call ends with a code or a book whose documents are
// well-formed XML.

#include <string>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "support/test_support.h"

namespace {

using kave2e::AddTextPage;
using kave2e::Strings;

const std::string kLong(10000, 'n');
const std::string kFffd = "\xEF\xBF\xBD";

// The book in dir made by fill, every XML document of it well-formed
// (XPathTexts fails the test if not); an empty one with the code.
kave2e::Book Made(const kavtest::TempDir& dir, const kave2e::Fill& fill, int* code,
                  const std::string& title = "T") {
  *code = kave2e::MakeBook(dir / "work", dir / "book.epub", fill, title, title);
  if (*code != 0) return {};
  kave2e::Book book = kave2e::ReadBook(dir / "book.epub");
  for (const auto& [name, entry] : book) {
    if (name.find(".htm") != std::string::npos || name.find(".opf") != std::string::npos ||
        name.find(".ncx") != std::string::npos) {
      EXPECT_FALSE(kave2e::XPathTexts(entry.data, "/*").empty()) << name;
    }
  }
  return book;
}

TEST(OddInput, BadBytesInLinesTitleAndImageNameBecomeWellFormedText) {
  // What a page shows for a line that is not clean UTF-8: each byte that is
  // no XML character becomes U+FFFD; a NUL ends the line.
  const std::pair<std::string, std::string> lines[] = {
      {"bad \xC3\x28 utf\n", "bad " + kFffd + "( utf "},
      {"cut \xE2\x82\n", "cut " + kFffd + kFffd + " "},
      {"over \xC0\xAF\n", "over " + kFffd + kFffd + " "},
      {"surrogate \xED\xA0\x80\n", "surrogate " + kFffd + kFffd + kFffd + " "},
      {"beyond \xF4\x90\x80\x80\n", "beyond " + kFffd + kFffd + kFffd + kFffd + " "},
      {"nonchar \xEF\xBF\xBE\n", "nonchar " + kFffd + kFffd + kFffd + " "},
      {"ctl \x01\x1B x\n", "ctl " + kFffd + kFffd + " x "},
      {std::string("nul \0 after\n", 12), "nul "},
      {"kept \xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 tab\tcr\r\n", "kept é€😀 tab\tcr\r "},
  };
  kavtest::TempDir dir;
  const std::string image = dir / "pic\xFF\x01.png";
  kavtest::WriteFile(image, "\x89PNG\r\n\x1a\n");
  int code = -1;
  kave2e::Book book = Made(
      dir,
      [&](TEpubService* s, TEpubData* d) {
        int rc = 0;
        for (const auto& line : lines) rc = rc ? rc : AddTextPage(s, d, {line.first});
        return rc ? rc : s->AddImageToEpub(d, image.c_str());
      },
      &code, "title \xFF\x02");
  ASSERT_CODE(0, code);
  for (size_t i = 0; i < std::size(lines); ++i) {
    EXPECT_EQ(
        Strings{lines[i].second},
        kave2e::XPathTexts(book["OEBPS/page-" + std::to_string(i + 1) + ".html"].data, "//x:p"));
  }
  EXPECT_EQ((Strings{"title " + kFffd + kFffd, "title " + kFffd + kFffd}),
            kave2e::XPathTexts(book["OEBPS/content.opf"].data, "//dc:title | //dc:creator"));
}

TEST(OddInput, TenThousandByteNamesEndWithCodeOrWellFormedBook) {
  kavtest::TempDir source;
  const std::string id = "i" + kLong;
  kavtest::WriteFile(source / "long.html", "<html><body><p id=\"" + id + "\">a</p><a href=\"#" +
                                               id + "\">to</a><a href=\"" + kLong +
                                               ".html\">away</a><img src=\"" + kLong +
                                               ".png\" alt=\"" + kLong + "\"/><a href=\"http://x/" +
                                               kLong + "\">web</a></body></html>");
  const kave2e::Fill longBook = [&](TEpubService* s, TEpubData* d) {
    const int rc = AddTextPage(s, d, {kLong + "\n"});
    return rc ? rc : s->AddHtmlToEpub(d, (source / "long.html").c_str());
  };
  kavtest::TempDir dir;
  int code = -1;
  EXPECT_FALSE(Made(dir, longBook, &code, kLong).empty()) << code;
  // Longer than any path the system opens: a code is as good as a book.
  const std::string path = source / std::string(kLong.size(), 'p') + ".png";
  const kave2e::Fill longPaths[] = {
      [&](TEpubService* s, TEpubData* d) { return s->AddImageToEpub(d, path.c_str()); },
      [&](TEpubService* s, TEpubData* d) {
        int rc = s->StartPage(d);
        rc = rc ? rc : s->AddImageToPage(d, path.c_str());
        return rc ? rc : s->EndPage(d);
      },
      [&](TEpubService* s, TEpubData* d) { return s->AddHtmlToEpub(d, path.c_str()); }};
  for (const kave2e::Fill& fill : longPaths) {
    kavtest::TempDir other;
    Made(other, fill, &code);
  }
}

}  // namespace
