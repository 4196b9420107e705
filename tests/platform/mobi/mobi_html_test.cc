#include <dirent.h>

#include <string>
#include <utility>
#include <vector>

#include "fuzz/mobi6_book.h"
#include "platform/mobi/filepos_anchors.h"
#include "platform/mobi/mobi_book.h"
#include "platform/mobi/kf8_join.h"
#include "platform/mobi/kf8_links.h"
#include "platform/mobi/resource_writer.h"
#include "platform/mobi/salvaged_book.h"
#include "platform/mobi/text_records.h"
#include "platform/mobi/utf8_charset.h"
#include "support/test_support.h"

namespace kavmobi {
namespace {

using Cases = std::vector<std::pair<std::string, std::string>>;
const std::string kMeta = kUtf8Meta;

TEST(Utf8Charset, MetaBecomesFirstInHeadOrGetsAHeadMade) {
  for (const auto& [markup, expected] :
       Cases{{"<html><head><title/></head>", "<html><head>" + kMeta + "<title/></head>"},
             {"<HTML><HEAD lang='a>b'>x", "<HTML><HEAD lang='a>b'>" + kMeta + "x"},
             {"<html><header/><body>", "<html><head>" + kMeta + "</head><header/><body>"},
             {"<p>loose", "<head>" + kMeta + "</head><p>loose"},
             {"<head title=\"x>", "<head>" + kMeta + "</head><head title=\"x>"}}) {
    EXPECT_EQ(expected, WithUtf8Charset(markup)) << markup;
  }
}

TEST(FileposAnchors, NumericIdsAndTheirFragmentsBecomeNames) {
  EXPECT_EQ(
      "<p>id=\"12\" <a id=\"filepos0012\"></a><a href=\"#filepos0012\">x</a>"
      "<a href=\"#top\" id=\"n1\"><img recindex=\"00001\" id=\"\"></p>",
      WithNamedAnchors("<p>id=\"12\" <a id=\"0012\"></a><a href=\"#0012\">x</a>"
                       "<a href=\"#top\" id=\"n1\"><img recindex=\"00001\" id=\"\"></p>"));
  EXPECT_EQ("<a href=\"#1 unclosed", WithNamedAnchors("<a href=\"#1 unclosed"));
}

// Every part gets an anchor; two "kindle:" URLs are resolved by a table, the rest kept.
TEST(Kf8Join, KeepsBodyContentWithAnchorsAndResolvesQuotedKindleValues) {
  const std::string top = "<html><head>" + kMeta + "<title></title></head><body>";
  auto resolve = [](std::string_view url) -> std::string {
    return url == "kindle:a" ? "#a" : url == "kindle:pic" ? "p.gif" : "";
  };
  for (const auto& [part, expected] :
       Cases{{"<body><a href=\"kindle:a\"><img src='kindle:pic'/></body>",
              "<a href=\"#a\"><img src='p.gif'/>"},
             {"<body><a href=\"kindle:b\">kindle:a \"kindle:a</body>",
              "<a href=\"kindle:b\">kindle:a \"kindle:a"},
             {"<?xml?><html><head><title>T</title></head><BODY class=\"c\" "
              "ID=\"top\"><p>x</p></BODY></html>",
              "<a id=\"top\"></a><p>x</p>"},
             {"<body data-id=\"d\" id=bare>x</body>", "<a id=\"bare\"></a>x"},
             {"<body><p>a</body>b</p></body >", "<p>a</body>b</p>"},
             {"<head/><body><p>open", "<p>open"},
             {"<p>no body</p>", "<p>no body</p>"}}) {
    EXPECT_EQ(top + "<a id=\"part00007\"></a>" + expected + "</body></html>",
              JoinKf8Parts({{7, part}}, resolve))
        << part;
  }
  EXPECT_EQ(top + "<a id=\"part00000\"></a>one<a id=\"part00001\"></a>two</body></html>",
            JoinKf8Parts({{0, "<body>one</body>"}, {1, "<body>two</body>"}}, resolve));
}

// File 0 at text position 0, file 1 at 100 with fragment 1 at 110; resource 3 is a GIF.
TEST(Kf8Links, PositionsBecomeTheNextIdOrThePartStartAndPicturesTheirFiles) {
  std::string file1 = "<body id=\"b\"><p>0123456789</p><h1 id=\"h\">x</h1></p><p id='late'>";
  MOBIPart part1 = {1, T_HTML, file1.size(), (unsigned char*)file1.data(), nullptr};
  MOBIPart part0 = {0, T_HTML, 6, (unsigned char*)"<body>", &part1};
  MOBIPart gif = {3, T_GIF, 0, nullptr, nullptr};
  uint32_t zero = 0, one = 1, hundred = 100;
  MOBIIndexTag fileOf0 = {3, 1, &zero}, fileOf1 = {3, 1, &one}, at0 = {6, 1, &zero},
               at100 = {6, 1, &hundred};
  MOBIIndexEntry fragments[] = {{(char*)"0000000000", 1, &fileOf0},
                                {(char*)"0000000110", 1, &fileOf1}};
  MOBIIndexEntry skeletons[] = {{(char*)"S0", 1, &at0}, {(char*)"S1", 1, &at100}};
  MOBIIndx fragIndex = {}, skelIndex = {};
  fragIndex.entries_count = skelIndex.entries_count = 2;
  fragIndex.entries = fragments;
  skelIndex.entries = skeletons;
  MOBIRawml rawml = {};
  rawml.frag = &fragIndex;
  rawml.skel = &skelIndex;
  rawml.markup = &part0;
  rawml.resources = &gif;
  Kf8Links links(rawml);
  for (const auto& [url, expected] :
       Cases{{"kindle:pos:fid:0001:off:0000000000", "#part00001"},  // the file's top
             {"kindle:pos:fid:0001:off:0000000005", "#h"},          // 10 + 5: inside the first p
             {"kindle:pos:fid:0001:off:000000000S", "#h"},          // 10 + 28: inside the h1 tag
             {"kindle:pos:fid:0001:off:000000001a", "#late"},       // 10 + 42
             {"kindle:pos:fid:0001:off:0000000050", "#part00001"},  // past the last id
             {"kindle:pos:fid:0002:off:0000000001", "#"},           // no such fragment
             {"kindle:pos:fid:4000000:off:0000000001", "#"},        // beyond 32 bits
             {"kindle:pos:fid:0001", "#"},
             {"kindle:embed:0004?mime=image/gif", "resource00003.gif"},
             {"kindle:embed:0001", ""}}) {  // no resource 0
    EXPECT_EQ(expected, links.Resolve(url)) << url;
  }
}

// A KF8 text without its indices: skeleton shells dropped, content kept in
// order, pictures found, positions lost.
TEST(Kf8Join, RawFlowKeepsTheContentBetweenTheSkeletons) {
  const std::string top = "<html><head>" + kMeta + "<title></title></head><body>";
  auto resolve = [](std::string_view url) -> std::string {
    return url.rfind("kindle:embed:", 0) == 0 ? "p.gif" : "#";
  };
  const std::string skeleton =
      "<?xml version=\"1.0\"?>\n<!DOCTYPE html><html xmlns=\"x\"><head><title>T</title>"
      "<link href=\"kindle:flow:0001\"/></head><BODY aid=\"0\">\n</body></html>";
  for (const auto& [flow, expected] :
       Cases{{skeleton + "<p aid=\"1\">one <a href=\"kindle:pos:fid:0001:off:0\">x</a></p>" +
                  skeleton + "<!-- c --><img src=\"kindle:embed:0004?mime=image/gif\"/>",
              "\n\n<p aid=\"1\">one <a href=\"#\">x</a></p>\n\n<!-- c --><img src=\"p.gif\"/>"},
             {"<head><p>no end of head", "<p>no end of head"},
             {"<p>a</p><html lang=\"unclosed", "<p>a</p><html lang=\"unclosed"},
             {"plain text", "plain text"}}) {
    EXPECT_EQ(top + expected + "</body></html>", ReadableKf8Flow(flow, resolve)) << flow;
  }
}

TEST(SalvagedBook, TextBecomesValidUtf8AndRecordNumbersPictureNames) {
  const std::string r = "\xef\xbf\xbd";  // U+FFFD, one for each bad byte
  const std::string good = "ok \xc3\xa4 \xe7\x81\xaf \xf0\x9f\x8f\xae\t\r\n";
  for (const auto& [text, expected] :
       Cases{{good, good},
             {std::string("a\0b\x01\x7f", 5), "ab\x7f"},
             {"\xff\xc3(\xe7\x81", r + r + "(" + r + r},      // stray bytes, a cut sequence
             {"\xc0\xaf\xed\xa0\x80", r + r + r + r + r}}) {  // overlong, surrogate
    EXPECT_EQ(expected, ValidUtf8(text)) << text;
  }
  MOBIPart gif = {3, T_GIF, 0, nullptr, nullptr}, jpg = {0, T_JPG, 0, nullptr, &gif};
  EXPECT_EQ(
      "<img src=\"resource00003.gif\" width=\"1\"><img recindex=\"00009\">"
      "<img hirecindex=\"00001\"><img src=\"resource00000.jpg\">",
      WithPictureSources("<img recindex=\"00004\" width=\"1\"><img recindex=\"00009\">"
                         "<img hirecindex=\"00001\"><img recindex=\"1\">",
                         &jpg));
}

TEST(TextRecords, PalmDocLiteralsPairsAndCopies) {
  struct Case {
    std::string record, text;
    bool intact;
  };
  for (const Case& c : {Case{"ab\x02\x80\x01z", "ab\x80\x01z", true},  // 2 bytes as they are
                        Case{"x\xe1", "x a", true},                    // space + 'a'
                        Case{"abc\x80\x1a", "abcabcab", true},  // 3 back, 5 long: overlapping
                        Case{"\xbf\xffok", "ok", false},        // a copy from before the start
                        Case{"ok\x80", "ok", false}}) {         // a pair cut off
    std::string out = "earlier records ";
    EXPECT_EQ(c.intact, DecompressPalmDoc(c.record, out)) << c.record;
    EXPECT_EQ("earlier records " + c.text, out) << c.record;
  }
}

// Read record by record, an intact book gives the text and the pictures
// libmobi gives.
TEST(TextRecords, WholeBooksReadAsLibmobiReadsThem) {
  for (std::string name :
       {"lantern_mobi6", "lantern_kf8", "lantern_joint", "special_title_mobi6"}) {
    SCOPED_TRACE(name);
    MOBIData* m = mobi_init();
    ASSERT_EQ(MOBI_SUCCESS, mobi_load_filename(m, ("tests/data/mobi/" + name + ".mobi").c_str()));
    size_t size = mobi_get_text_maxsize(m);
    std::string whole(size, '\0');
    ASSERT_EQ(MOBI_SUCCESS, mobi_get_rawml(m, &whole[0], &size));
    whole.resize(size);
    EXPECT_EQ(whole, ReadTextRecords(*m));
    std::string ours, theirs;
    for (const MOBIPart& p : PictureRecords(*m)) ours += ImageFileName(p) + " ";
    MOBIRawml* rawml = mobi_init_rawml(m);
    ASSERT_EQ(MOBI_SUCCESS, mobi_parse_rawml_opt(rawml, m, false, false, false));
    for (const MOBIPart* p = rawml->resources; p != nullptr; p = p->next)
      theirs += ImageFileName(*p) + (ImageFileName(*p).empty() ? "" : " ");
    EXPECT_EQ(theirs, ours);
    mobi_free_rawml(rawml);
    mobi_free(m);
  }
}

// The book at path opened with the links rebuilt by ParseMobi6Rawml and by
// libmobi, with and without its table of contents: the same result, the same
// parts. Says what became of text (without the table): "rewritten",
// "unchanged", or "salvaged" when the rebuild failed.
std::string OpensAsWithLibmobisRebuild(const std::string& path, const std::string& text = "") {
  std::string outcome = "salvaged";
  for (bool toc : {true, false}) {
    SCOPED_TRACE(path + (toc ? " with its table" : ""));
    MobiBook ours, libmobis;
    ours.SetReadToc(toc);
    libmobis.SetReadToc(toc);
    libmobis.SetLibmobiLinks(true);
    EXPECT_EQ(libmobis.Open(path.c_str()), ours.Open(path.c_str()));
    EXPECT_EQ(libmobis.IsOpen(), ours.IsOpen());
    EXPECT_EQ("", kav_fuzz::PartsDifference(ours.Rawml(), libmobis.Rawml()));
    if (const MOBIPart* part = ours.Rawml() != nullptr ? ours.Rawml()->markup : nullptr) {
      const bool same = std::string(reinterpret_cast<const char*>(part->data), part->size) == text;
      outcome = same ? "unchanged" : "rewritten";
    }
  }
  return outcome;
}

// Every test book, damaged ones and the large one included.
TEST(FileposLinks, EveryBookOpensAsWithLibmobisRebuild) {
  size_t books = 0;
  for (std::string dir : {"", "damaged/", "invalid/", "large/"}) {
    DIR* listing = opendir(("tests/data/mobi/" + dir).c_str());
    ASSERT_NE(nullptr, listing);
    while (const dirent* entry = readdir(listing)) {
      const std::string name = entry->d_name;
      if (name.size() < 5 || name.substr(name.size() - 5) != ".mobi") continue;
      OpensAsWithLibmobisRebuild("tests/data/mobi/" + dir + name);
      ++books;
    }
    closedir(listing);
  }
  EXPECT_LE(29u, books);
}

// Links as libmobi finds them, or passes over them, and targets that have
// no place (the book is then read from its text records, as with libmobi);
// each also with an NCX, whose entries are targets too.
TEST(FileposLinks, MarkupOpensAsWithLibmobisRebuild) {
  const std::vector<std::string> pictures = {"GIF89a", "no picture", "\x89PNG\r\n\x1a\n"};
  const std::vector<kav_fuzz::Mobi6NcxEntry> ncx = {
      {0, 0, -1, 1, 1}, {30, 1, 0, -1, -1}, {44, 0, -1, -1, -1}, {47, 2, -1, -1, -1}};
  for (const auto& [html, outcome] : Cases{
           {"<p><a filepos=0000000030>to</a> <img recindex=\"00002\"/> <a filepos='3'/></p>",
            "rewritten"},
           {"<p><img hirecindex=00003 lorecindex=00009><img recindex=00004></p>x", "rewritten"},
           {"<p>filepos=12 >filepos=13 <b filepos=1<a filepos=1 x>y</a></p>", "rewritten"},
           {"<i x=>filepos=<a filepos=5 filepos=filepos=6>  <a filepos=0>", "rewritten"},
           {"<p" + std::string(200, 'y') + "filepos=7 recindex=2>z<a\tfilepos=\"-4\">",
            "rewritten"},
           {"<a foo=filepos=2><a href=recindex=1 h=filepos=3 filepos=>", "rewritten"},
           {"<p><a filepos=8>inside the attribute</a></p>", "salvaged"},
           {"<p><a filepos=999>past the text</a></p>", "salvaged"},
           {"<p>no links at all</p>", "unchanged"},
           {"filepos=1", "unchanged"}}) {
    SCOPED_TRACE(html);
    kavtest::TempDir dir;
    kavtest::WriteFile(dir / "book.mobi", kav_fuzz::Mobi6Book(html, pictures, {}));
    EXPECT_EQ(outcome, OpensAsWithLibmobisRebuild(dir / "book.mobi", html));
    const std::string longer = html + std::string(40, ' ');
    kavtest::WriteFile(dir / "ncx.mobi", kav_fuzz::Mobi6Book(longer, pictures, ncx));
    OpensAsWithLibmobisRebuild(dir / "ncx.mobi", longer);
  }
}

}  // namespace
}  // namespace kavmobi
