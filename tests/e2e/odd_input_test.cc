// Input no sane book has: bytes that are not UTF-8 text, names and references
// of 10,000 bytes, links the repair dissolves. Every call ends with a code or
// a book whose documents are well-formed XML.

#include <filesystem>
#include <functional>
#include <string>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

namespace fs = std::filesystem;

const std::string kLong(10000, 'n');
const std::string kFffd = "\xEF\xBF\xBD";

// One book through the record: fill runs between InitEpub and GenerateEpub
// and answers the first nonzero code; the book's entries when it was made.
struct RecordBook {
  kavtest::TempDir dir;
  std::string work = dir / "work", epub = dir / "book.epub";
  int code = 0;
  kave2e::Book book;

  RecordBook(const std::string& title, const std::string& author,
             const std::function<int(TEpubService*, TEpubData*)>& fill) {
    kavtest::MakeDirs(work);
    TEpubService* service = CreateEpubService();
    code = service->InitEpub(service->data, work.c_str(), title.c_str(), author.c_str());
    if (code == 0) code = fill(service, service->data);
    if (code == 0) code = service->GenerateEpub(service->data, epub.c_str());
    FreeEpubService(service);
    if (code == 0) book = kave2e::ReadBook(epub);
  }
};

int TextPage(TEpubService* service, TEpubData* data, const std::string& line) {
  int code = service->StartPage(data);
  if (code == 0) code = service->AddTextLineToPage(data, line.c_str());
  return code != 0 ? code : service->EndPage(data);
}

// Every XML document of the book parses (XPathTexts fails the test if not).
void ExpectWellFormed(const kave2e::Book& book) {
  EXPECT_FALSE(book.empty());
  for (const auto& [name, entry] : book) {
    if (name.find(".htm") == std::string::npos && name.find(".opf") == std::string::npos &&
        name.find(".ncx") == std::string::npos) {
      continue;
    }
    SCOPED_TRACE(name);
    EXPECT_FALSE(kave2e::XPathTexts(entry.data, "/*").empty());
  }
}

TEST(OddInput, TextLineBytesBecomeWellFormedText) {
  // What a page shows for a line that is not clean UTF-8: each byte that is
  // no XML character becomes U+FFFD; a NUL ends the line.
  struct Case {
    std::string line, paragraph;
  };
  const Case cases[] = {
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
  for (const Case& c : cases) {
    SCOPED_TRACE(c.paragraph);
    RecordBook made("T", "A",
                    [&](TEpubService* s, TEpubData* d) { return TextPage(s, d, c.line); });
    ASSERT_CODE(0, made.code);
    EXPECT_EQ(kave2e::Strings{c.paragraph},
              kave2e::XPathTexts(made.book["OEBPS/page-1.html"].data, "//x:p"));
  }
}

TEST(OddInput, BadBytesInTitleAndImageNameKeepDocumentsWellFormed) {
  kavtest::TempDir images;
  const std::string image = images / "pic\xFF\x01.png";
  kavtest::WriteFile(image, "\x89PNG\r\n\x1a\n");
  RecordBook made("title \xFF\x02", "author \xC3", [&](TEpubService* s, TEpubData* d) {
    int code = s->AddImageToEpub(d, image.c_str());
    return code != 0 ? code : TextPage(s, d, "text\n");
  });
  ASSERT_CODE(0, made.code);
  ExpectWellFormed(made.book);
  EXPECT_EQ((kave2e::Strings{"title " + kFffd + kFffd, "author " + kFffd}),
            kave2e::XPathTexts(made.book["OEBPS/content.opf"].data, "//dc:title | //dc:creator"));
}

TEST(OddInput, LinkDissolvedInsideListKeepsItsTextInWellFormedPage) {
  // A link directly inside a list loses its name in the repair; the saved
  // page keeps its text in its place.
  kavtest::TempDir source;
  kavtest::WriteFile(source / "other.html", "<html><body><p>other</p></body></html>");
  kavtest::WriteFile(source / "index.html",
                     "<html><body><ul><a href=\"other.html\">first <b>link</b></a>"
                     "<li>item</li></ul><ol><a href=\"#top\">second</a><li>x</li></ol>"
                     "<p id=\"top\">end</p></body></html>");
  RecordBook made("T", "A", [&](TEpubService* s, TEpubData* d) {
    return s->AddHtmlToEpub(d, (source / "index.html").c_str());
  });
  ASSERT_CODE(0, made.code);
  ExpectWellFormed(made.book);
  EXPECT_EQ((kave2e::Strings{"first linkitem", "secondx"}),
            kave2e::XPathTexts(made.book["OEBPS/page-1.html"].data, "//x:ul | //x:ol"));
}

TEST(OddInput, TenThousandByteNamesEndWithCodeOrWellFormedBook) {
  kavtest::TempDir source;
  const std::string id = "i" + kLong;
  kavtest::WriteFile(source / "long.html", "<html><body><p id=\"" + id + "\">a</p><a href=\"#" +
                                               id + "\">to</a><a href=\"" + kLong +
                                               ".html\">away</a><img src=\"" + kLong +
                                               ".png\" alt=\"" + kLong + "\"/><a href=\"http://x/" +
                                               kLong + "\">web</a></body></html>");
  // Longer than any path the system opens.
  const std::string path = source / std::string(kLong.size(), 'p') + ".png";

  struct Case {
    const char* name;
    std::string title;
    std::function<int(TEpubService*, TEpubData*)> fill;
    bool book;  // else a code is as good
  };
  const Case cases[] = {
      {"title and author", kLong,
       [](TEpubService* s, TEpubData* d) { return TextPage(s, d, "x\n"); }, true},
      {"text line", "T", [](TEpubService* s, TEpubData* d) { return TextPage(s, d, kLong + "\n"); },
       true},
      {"HTML with long ids and references", "T",
       [&](TEpubService* s, TEpubData* d) {
         return s->AddHtmlToEpub(d, (source / "long.html").c_str());
       },
       true},
      {"image page", "T",
       [&](TEpubService* s, TEpubData* d) { return s->AddImageToEpub(d, path.c_str()); }, false},
      {"image in a page", "T",
       [&](TEpubService* s, TEpubData* d) {
         int code = s->StartPage(d);
         if (code == 0) code = s->AddImageToPage(d, path.c_str());
         return code != 0 ? code : s->EndPage(d);
       },
       false},
      {"HTML file", "T",
       [&](TEpubService* s, TEpubData* d) { return s->AddHtmlToEpub(d, path.c_str()); }, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    RecordBook made(c.title, c.title, c.fill);
    if (c.book) {
      ASSERT_CODE(0, made.code);
    }
    if (made.code == 0) ExpectWellFormed(made.book);
  }
}

}  // namespace
