#include <string>
#include <utility>
#include <vector>

#include "platform/mobi/filepos_anchors.h"
#include "platform/mobi/kf8_join.h"
#include "platform/mobi/kf8_links.h"
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

}  // namespace
}  // namespace kavmobi
