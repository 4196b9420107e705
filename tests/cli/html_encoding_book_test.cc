// kav-epub html with pages in the encodings old HTML books and saved web
// pages come in: each page's text reaches the book intact and the book's
// pages are UTF-8 and say so.

#include <string>

#include "e2e/book_checks.h"

namespace {

using HtmlEncodings = kave2e::KavEpubTest;

struct Page {
  const char* name;
  const char* encoding;  // what iconv writes the page in
  const char* bom;
  const char* declaration;  // in the page's head, before iconv
  std::string text;
};

const char kQuotes[] =
    "“Où est le ressort ?” – demanda-t-il — ‘ça coûte 5 €’… déçu, l’élève répondit : "
    "« Le garçon de l’horloger ouvrait la boutique chaque matin. »";

// Every page in its own encoding, each declared the way such pages declare
// it (or not at all), all linked from one UTF-8 index page.
const Page kPages[] = {
    // 喆 and 镕 are GBK, not GB2312; 𠀀 exists only in GB18030.
    {"gb", "GB18030", "", R"(<meta http-equiv="Content-Type" content="text/html; charset=gb2312">)",
     "鸣鸟直上一千尺，喆与镕看见了𠀀。钟表匠的学徒每天早上都会打开店门。"},
    {"big5", "BIG5", "", R"(<meta charset="big5">)",
     "從前有一座山，山上有一座廟。鐘錶匠的學徒每天早上都會打開店門。"},
    // ① and ～ are Windows-31J, which pages labelled Shift_JIS are written in.
    {"sjis", "CP932", "",
     R"(<META HTTP-EQUIV="content-type" CONTENT="text/html;charset=Shift_JIS">)",
     "昔々、ある山の上に小さな時計屋がありました。①見習いの少年は毎朝～歯車を磨きました。"},
    {"eucjp", "EUC-JP", "", "<?xml version=\"1.0\" encoding=\"EUC-JP\"?>",
     "見習いの少年は毎朝、歯車を磨きました。ある日、古い時計が止まりました。"},
    {"euckr", "EUC-KR", "",
     R"(<meta http-equiv='Content-Type' content='text/html; charset=euc-kr'>)",
     "옛날 옛적에 산 위에 작은 시계방이 있었습니다. 견습생은 매일 아침 톱니바퀴를 닦았습니다."},
    {"latin1", "WINDOWS-1252", "",
     R"(<meta http-equiv="Content-Type" content="text/html; charset=iso-8859-1">)", kQuotes},
    {"koi8", "KOI8-R", "", "<meta charset=koi8-r>",
     "Часовщик и его ученик открывали лавку каждое утро."},
    {"utf16bom", "UTF-16LE", "\xFF\xFE", R"(<meta charset="utf-16">)",
     "鐘錶匠的學徒 — the apprentice"},
    {"utf16", "UTF-16BE", "", "", "鐘錶匠的學徒 — the apprentice, без метки"},
    // What the page says is not what it is.
    {"false-utf8", "WINDOWS-1252", "", R"(<meta charset="utf-8">)", kQuotes},
    {"plain", "UTF-8", "\xEF\xBB\xBF", "", "Ünïcode ☃ without a declaration"},
};

// An XML declaration opens the page; any other goes into its head.
std::string PageHtml(const std::string& declaration, const std::string& body) {
  const bool xml = declaration.compare(0, 5, "<?xml") == 0;
  return (xml ? declaration : "") + "<html><head>" + (xml ? "" : declaration) +
         "<title>t</title></head><body>" + body + "</body></html>";
}

// iconv's rendering of a UTF-8 text in encoding.
std::string Encoded(const std::string& dir, const std::string& text, const std::string& encoding) {
  const std::string utf8 = dir + "/utf8.tmp";
  kavtest::WriteFile(utf8, text);
  std::string bytes;
  EXPECT_EQ(0, kave2e::RunCommand("iconv -f UTF-8 -t " + encoding + " '" + utf8 + "'", &bytes));
  return bytes;
}

void ExpectCleanUtf8Page(const std::string& xhtml) {
  EXPECT_EQ(0u, xhtml.find("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"));
  EXPECT_EQ(std::string::npos, xhtml.find("charset")) << "no stale declaration";
  EXPECT_EQ(std::string::npos, xhtml.find("\xEF\xBF\xBD")) << "no U+FFFD";
  for (unsigned c = 0x80; c <= 0x9F; ++c) {
    EXPECT_EQ(std::string::npos, xhtml.find(std::string("\xC2") + static_cast<char>(c)))
        << "no C1 control U+00" << std::hex << c;
  }
}

TEST_F(HtmlEncodings, EachPageOfASiteArrivesInItsOwnEncoding) {
  std::string links;
  for (const Page& page : kPages) {
    const std::string bytes =
        Encoded(dir_.path(), PageHtml(page.declaration, "<p>" + page.text + "</p>"), page.encoding);
    kavtest::WriteFile(dir_ / page.name + ".html", page.bom + bytes);
    links += std::string("<p><a href=\"") + page.name + ".html\">" + page.name + "</a></p>";
  }
  kavtest::WriteFile(dir_ / "index.html", PageHtml("", links));
  const std::string epub = dir_ / "site.epub";
  std::string output;
  ASSERT_EQ(0, Run("html '" + std::string(dir_ / "index.html") + "' '" + epub + "'", &output))
      << output;
  kave2e::Book book = kave2e::ReadBook(epub);
  for (const Page& page : kPages) {
    SCOPED_TRACE(page.name);
    const std::string xhtml = book[std::string("OEBPS/") + page.name + ".html"].data;
    const kave2e::Strings texts = kave2e::XPathTexts(xhtml, "//x:p");
    ASSERT_EQ(1u, texts.size()) << xhtml;
    EXPECT_EQ(page.text, texts[0]);
    ExpectCleanUtf8Page(xhtml);
  }
  kave2e::ExpectOnlyFindings(epub, kave2e::kUsualFindings);
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty()) << "the UTF-8 copies are removed";
}

TEST_F(HtmlEncodings, NamedEncodingIsUsedForEveryPageAndStyleSheetsBecomeUtf8) {
  // Undeclared short Cyrillic is too little to guess from; named, it is read
  // right, and a page's contrary declaration does not count.
  const std::string text = "Часовщик и ученик.";
  // A style sheet in windows-1252 that says so; the book's copy says UTF-8.
  kavtest::WriteFile(dir_ / "sheet.css",
                     "@charset \"iso-8859-1\";\np:before { content: \"\x93\x80\x94\" }\n");
  const struct {
    const char* declaration;
    const char* option;
  } cases[] = {{"", "--encoding CP1251"}, {"<meta charset=\"utf-8\">", "--encoding windows-1251"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.option);
    const std::string input = dir_ / "ru.html", epub = dir_ / "ru.epub";
    const std::string body = "<p>" + text + "</p><div><a href=\"sheet.css\">style</a></div>";
    // The title, which names the book, is read in the named encoding too.
    std::string page = PageHtml(c.declaration, body);
    page.replace(page.find("<title>t<"), 9, "<title>" + text + "<");
    kavtest::WriteFile(input, Encoded(dir_.path(), page, "WINDOWS-1251"));
    std::string output;
    ASSERT_EQ(0, Run("html '" + input + "' '" + epub + "' " + c.option, &output)) << output;
    kave2e::Book book = kave2e::ReadBook(epub);
    const std::string xhtml = book["OEBPS/page-1.html"].data;
    EXPECT_EQ(kave2e::Strings{text}, kave2e::XPathTexts(xhtml, "//x:p"));
    EXPECT_EQ(kave2e::Strings{text},
              kave2e::XPathTexts(book["OEBPS/content.opf"].data, "//dc:title"));
    ExpectCleanUtf8Page(xhtml);
    EXPECT_EQ("@charset \"UTF-8\";\np:before { content: \"“€”\" }\n", book["OEBPS/sheet.css"].data);
  }
  std::string output;
  EXPECT_EQ(1, Run("html '" + std::string(dir_ / "ru.html") + "' '" + std::string(dir_ / "k.epub") +
                       "' --encoding KLINGON",
                   &output));
  EXPECT_NE(std::string::npos, output.find("unknown text encoding")) << output;
  EXPECT_FALSE(kavtest::Exists(dir_ / "k.epub"));
}

}  // namespace
