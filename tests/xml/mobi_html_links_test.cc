#include <string>
#include <vector>

#include "service/kav_result.h"
#include "support/test_support.h"
#include "xml/xml_base.h"

namespace {

TEST(MobiHtmlLinks, ReferencesAreRewrittenInPlace) {
  const std::string cover = "<html><body><image src=\"c\"/><p><image src=\"d\"/></p></body></html>";
  const std::string page = "<html><body><p>a</p></body></html>";
  struct {
    std::string html;
    std::vector<std::string> images;
    std::string expected;  // the element tree, the third line of the file
  } const cases[] = {
      {"<html><body><p><img recindex=\"1\" alt=\"x\"><img recindex=\"00001\"><img recindex=\"2\">"
       "<img recindex=\"-1\"><img src=\"k.png\" alt=\"k\"><img recindex=\"abc\"></p></body></html>",
       {"a.png", "b.png"},
       "<html><body><p><img src=\"b.png\"/><img src=\"b.png\"/><img src=\"k.png\" alt=\"k\"/>"
       "<img src=\"a.png\"/></p></body></html>"},
      {cover, {"c.jpg"}, "<html><body><img src=\"c.jpg\"/><p><image src=\"d\"/></p></body></html>"},
      {cover, {"", "x.png"}, "<html><body><p><image src=\"d\"/></p></body></html>"},
      {page + "<html><body><p>b</p></body></html><html><p>c</p></html>", {"x.png"}, page}};
  for (const auto& c : cases) {
    kavtest::TempDir dir;
    kavtest::WriteFile(dir / "page.html", c.html);
    std::vector<std::string> images = c.images;
    EXPECT_CODE(KAV_OK, XMLBase::MobiHtmlProcess((dir / "page.html").c_str(), "UTF-8", images));
    EXPECT_EQ(c.images, images);
    const auto lines = kavtest::Lines(kavtest::ReadFile(dir / "page.html"));
    ASSERT_GE(lines.size(), 3u) << c.html;
    EXPECT_EQ(c.expected, lines[2]) << c.html;
  }
}

TEST(MobiHtmlLinks, FileStaysByteForByteWhenNothingIsOrCanBeWritten) {
  kavtest::TempDir dir;
  const std::string html = "<html>\n<body><img recindex=\"1\"></body></html>\n";
  const std::string path = dir / "page.html";
  kavtest::WriteFile(path, html);
  std::vector<std::string> none, images = {"a.png", "b.png"};
  testing::internal::CaptureStderr();
  EXPECT_CODE(KAV_OK, XMLBase::MobiHtmlProcess(path.c_str(), "UTF-8", none));
  EXPECT_CODE(KAV_ERR_MOBI_HTML_SAVE, XMLBase::MobiHtmlProcess(path.c_str(), "no-such", images));
  EXPECT_CODE(KAV_ERR_MISSING, XMLBase::MobiHtmlProcess((dir / "no.html").c_str(), "", images));
  EXPECT_CODE(KAV_ERR_MISSING, XMLBase::MobiHtmlProcess(dir.path().c_str(), "UTF-8", images));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ(html, kavtest::ReadFile(path));
}

}  // namespace
