// Input no sane book has: bytes that are not UTF-8 text, names and references
// of 10,000 bytes. Every call ends with a code or a book whose documents are
// well-formed XML.

#include <regex>
#include <string>

#include "e2e/book_checks.h"

namespace {

using kave2e::AddTextPage;
using kave2e::Strings;

const std::string kLong(10000, 'n');
const std::string kFffd = "\xEF\xBF\xBD";

// The code of making a book in dir by fill, and the book, every XML document
// of it well-formed (XPathTexts fails the test if not); empty after a failure.
std::pair<int, kave2e::Book> Made(const kavtest::TempDir& dir, const kave2e::Fill& fill,
                                  const std::string& title = "T") {
  const int code = kave2e::MakeBook(dir / "work", dir / "book.epub", fill, title, title);
  if (code != 0) return {code, {}};
  kave2e::Book book = kave2e::ReadBook(dir / "book.epub");
  for (const auto& [name, entry] : book) {
    if (std::regex_search(name, std::regex(R"(\.(htm|opf|ncx))"))) {
      EXPECT_FALSE(kave2e::XPathTexts(entry.data, "/*").empty()) << name;
    }
  }
  return {code, book};
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
  const auto fill = [&](TEpubService* s, TEpubData* d) {
    int rc = 0;
    for (const auto& line : lines) rc = rc ? rc : AddTextPage(s, d, {line.first});
    return rc ? rc : s->AddImageToEpub(d, image.c_str());
  };
  kave2e::Book book = Made(dir, fill, "title \xFF\x02").second;
  for (size_t i = 0; i < std::size(lines); ++i) {
    const std::string page = "OEBPS/page-" + std::to_string(i + 1) + ".html";
    EXPECT_EQ(Strings{lines[i].second}, kave2e::XPathTexts(book[page].data, "//x:p")) << page;
  }
  EXPECT_EQ(Strings(2, "title " + kFffd + kFffd),
            kave2e::XPathTexts(book["OEBPS/content.opf"].data, "//dc:title | //dc:creator"));
}

TEST(OddInput, TenThousandByteNamesEndWithCodeOrWellFormedBook) {
  kavtest::TempDir source;
  const std::string id = "i" + kLong, html = source / "long.html";
  kavtest::WriteFile(html, "<html><body><p id=\"" + id + "\">a</p><a href=\"#" + id +
                               "\">to</a><a href=\"" + kLong + ".html\">away</a><img src=\"" +
                               kLong + ".png\" alt=\"" + kLong + "\"/><a href=\"http://x/" + kLong +
                               "\">web</a></body></html>");
  const auto longBook = [&](TEpubService* s, TEpubData* d) {
    const int rc = AddTextPage(s, d, {kLong + "\n"});
    return rc ? rc : s->AddHtmlToEpub(d, html.c_str());
  };
  EXPECT_CODE(0, Made(kavtest::TempDir(), longBook, kLong).first);
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
  for (const kave2e::Fill& fill : longPaths) Made(kavtest::TempDir(), fill);
}

}  // namespace
