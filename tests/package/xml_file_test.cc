#include "package/xml_file.h"

#include <gmock/gmock.h>

#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using ::testing::Each;
using Codes = std::vector<long long>;  // braced lists evaluate in order

const std::string kDecl = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
const std::string kDoctype = kDecl +
                             "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.1//EN\" "
                             "\"http://www.w3.org/TR/xhtml11/DTD/xhtml11.dtd\">\n";

// A saved document with the fourteen time digits after "urn:uuid:id_" written as "#".
std::string Saved(const std::string& path) {
  static const std::regex kTimeDigits("(urn:uuid:id_)[0-9]{14}([^0-9])");
  return std::regex_replace(kavtest::ReadFile(path), kTimeDigits, "$1#$2");
}

struct XmlFileTest : ::testing::Test {
  kavtest::TempDir dir;
  XMLFile file;
};

// Every call uses up a number, repeats add nothing. Ampersands in titles are escaped once
// more, even those escaped already.
TEST_F(XmlFileTest, PackageDocument_BookExample_SavesTreeInOrderWithNumberGaps) {
  ASSERT_CODE(KAV_OK, file.InitOpfFile("Tom & Jerry", "A&B&amp;"));
  EXPECT_CODE(KAV_OK, file.AddRecordToOpf("main.css"));
  EXPECT_CODE(KAV_OK, file.AddCoverToOpf("cover.html", "images/cover.jpg"));
  const std::string longName = std::string(300, 'n') + ".html";
  for (const char* name : {"page-1.html", "page-2.html", "page-1.html", "README", "README",
                           "notes.htm", "v.1.JPG", longName.c_str()})
    EXPECT_CODE(KAV_OK, file.AddRecordToOpf(name));
  ASSERT_CODE(KAV_OK, file.SaveOpfFile((dir / "content.opf").c_str()));
  EXPECT_EQ(
      kDecl +
          "<package xmlns=\"http://www.idpf.org/2007/opf\" "
          "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" unique-identifier=\"bookid111\" "
          "version=\"2.0\"><metadata><dc:title>Tom &amp; Jerry</dc:title>"
          "<dc:creator>A&amp;B&amp;amp;</dc:creator><dc:language>en</dc:language>"
          "<dc:identifier id=\"bookid111\">urn:uuid:id_#</dc:identifier>"
          "<meta name=\"cover\" content=\"cover-image\"/></metadata><manifest>"
          "<item id=\"ncx\" href=\"toc.ncx\" media-type=\"application/x-dtbncx+xml\"/>"
          "<item id=\"rc_0\" href=\"main.css\" media-type=\"text/css\"/>"
          "<item id=\"cover-image\" href=\"images/cover.jpg\" media-type=\"image/jpeg\"/>"
          "<item id=\"title\" href=\"cover.html\" media-type=\"application/xhtml+xml\"/>"
          "<item id=\"rc_1\" href=\"page-1.html\" media-type=\"application/xhtml+xml\"/>"
          "<item id=\"rc_2\" href=\"page-2.html\" media-type=\"application/xhtml+xml\"/>"
          "<item id=\"rc_6\" href=\"notes.htm\" media-type=\"image/htm\"/>"
          "<item id=\"rc_7\" href=\"v.1.JPG\" media-type=\"image/JPG\"/><item id=\"rc_8\" href=\"" +
          std::string(255, 'n') +
          "\" media-type=\"application/xhtml+xml\"/></manifest><spine toc=\"ncx\">"
          "<itemref idref=\"title\"/><itemref idref=\"rc_1\"/><itemref idref=\"rc_2\"/>"
          "<itemref idref=\"rc_8\"/></spine><guide>"
          "<reference href=\"cover.html\" type=\"cover\" title=\"Cover\"/></guide></package>\n",
      Saved(dir / "content.opf"));
}

TEST_F(XmlFileTest, NavigationDocument_BookExample_NumbersAndLabelsPointsFromOneAfterInit) {
  EXPECT_THAT(
      (Codes{file.InitNcxFile("old"), file.AddRecordToNcx("old.html"), file.InitNcxFile("A&B&amp;"),
             file.AddRecordToNcx("page-1.html"), file.AddRecordToNcx("page-2.html"),
             file.SaveNcxFile((dir / "toc.ncx").c_str())}),
      Each(KAV_OK));
  EXPECT_EQ(kDoctype +
                "<ncx xmlns=\"http://www.daisy.org/z3986/2005/ncx/\" version=\"2005-1\"><head>"
                "<meta name=\"dtb:uid\" content=\"urn:uuid:id_#\"/>"
                "<meta name=\"dtb:depth\" content=\"2\"/>"
                "<meta name=\"dtb:totalPageCount\" content=\"0\"/>"
                "<meta name=\"dtb:maxPageNumber\" content=\"0\"/></head>"
                "<docTitle><text>A&amp;B&amp;amp;</text></docTitle><navMap>"
                "<navPoint id=\"c1\" playOrder=\"1\"><navLabel><text>1</text></navLabel>"
                "<content src=\"page-1.html\"/></navPoint>"
                "<navPoint id=\"c2\" playOrder=\"2\"><navLabel><text>2</text></navLabel>"
                "<content src=\"page-2.html\"/></navPoint></navMap></ncx>\n",
            Saved(dir / "toc.ncx"));
}

// A nested table: each point under the newest one a level up (one too deep is taken one
// below the point before it), play order by first appearance of its file, dtb:depth its
// deepest.
TEST_F(XmlFileTest, NavigationDocument_NestedPoints_NestUnderTheNewestPointAbove) {
  ASSERT_CODE(KAV_OK, file.InitNcxFile("t"));
  const std::vector<std::pair<const char*, int>> points = {
      {"p1.html#a", 1}, {"p1.html#b", 2}, {"p2.html#c", 3}, {"p1.html#b", 2},
      {"p3.html", 1},   {"p3.html#d", 5}, {"p4.html", 1}};
  for (const auto& [src, depth] : points) {
    EXPECT_CODE(KAV_OK, file.AddNestedRecordToNcx(src, depth == 3 ? "x < y & z" : src, depth));
  }
  ASSERT_CODE(KAV_OK, file.SaveNcxFile((dir / "toc.ncx").c_str()));
  auto point = [](int id, int order, const std::string& label, const std::string& src) {
    return "<navPoint id=\"c" + std::to_string(id) + "\" playOrder=\"" + std::to_string(order) +
           "\"><navLabel><text>" + label + "</text></navLabel><content src=\"" + src + "\"/>";
  };
  const std::string saved = Saved(dir / "toc.ncx");
  EXPECT_NE(std::string::npos, saved.find("<meta name=\"dtb:depth\" content=\"3\"/>"));
  EXPECT_EQ("<navMap>" + point(1, 1, "p1.html#a", "p1.html#a") +
                point(2, 2, "p1.html#b", "p1.html#b") + point(3, 3, "x &lt; y &amp; z", "p2.html#c") +
                "</navPoint></navPoint>" + point(4, 2, "p1.html#b", "p1.html#b") +
                "</navPoint></navPoint>" + point(5, 4, "p3.html", "p3.html") +
                point(6, 5, "p3.html#d", "p3.html#d") + "</navPoint></navPoint>" +
                point(7, 6, "p4.html", "p4.html") + "</navPoint></navMap>",
            saved.substr(saved.find("<navMap>"), saved.find("</ncx>") - saved.find("<navMap>")));
}

// Per-page records are written in rounds of a few hundred when the documents are saved: none
// may be lost, repeated or moved at a round's edge, and saving twice writes them twice alike.
TEST_F(XmlFileTest, ManyPages_EveryRecordSavedOnceInOrder) {
  ASSERT_CODE(KAV_OK, file.InitOpfFile("t", "a") + file.InitNcxFile("t"));
  std::string items, itemrefs, points;
  for (int i = 1; i <= 1000; ++i) {
    const std::string page = "page-" + std::to_string(i) + ".html", n = std::to_string(i - 1);
    ASSERT_CODE(KAV_OK, file.AddRecordToOpf(page.c_str()) + file.AddRecordToNcx(page.c_str()));
    items += "<item id=\"rc_" + n + "\" href=\"" + page + "\" media-type=\"application/xhtml+xml\"/>";
    itemrefs += "<itemref idref=\"rc_" + n + "\"/>";
    points += "<navPoint id=\"c" + std::to_string(i) + "\" playOrder=\"" + std::to_string(i) +
              "\"><navLabel><text>" + std::to_string(i) + "</text></navLabel><content src=\"" +
              page + "\"/></navPoint>";
  }
  for (int round = 0; round < 2; ++round) {
    ASSERT_CODE(KAV_OK, file.SaveOpfFile((dir / "content.opf").c_str()) +
                            file.SaveNcxFile((dir / "toc.ncx").c_str()));
    const std::string opf = Saved(dir / "content.opf"), ncx = Saved(dir / "toc.ncx");
    EXPECT_NE(std::string::npos, opf.find("media-type=\"application/x-dtbncx+xml\"/>" + items +
                                          "</manifest><spine toc=\"ncx\">" + itemrefs +
                                          "</spine><guide/></package>\n"));
    EXPECT_NE(std::string::npos, ncx.find("<navMap>" + points + "</navMap></ncx>\n"));
  }
}

TEST_F(XmlFileTest, ContainerFile_WritesThreeLinesWithAttributesInOrderOverAnOldFile) {
  kavtest::WriteFile(dir / "container.xml", std::string(5000, 'x'));
  ASSERT_CODE(KAV_OK, file.GenerateContainerFile((dir / "container.xml").c_str()));
  EXPECT_EQ(kDoctype +
                "<container version=\"1.0\" "
                "xmlns=\"urn:oasis:names:tc:opendocument:xmlns:container\"><rootfiles>"
                "<rootfile full-path=\"OEBPS/content.opf\" "
                "media-type=\"application/oebps-package+xml\"/></rootfiles></container>\n",
            Saved(dir / "container.xml"));
}

// Cells go to the newest row (none before any table; the first table's while the second has none).
TEST_F(XmlFileTest, PageDocument_PageExample_AddsEveryStepToTheNewestParent) {
  EXPECT_THAT(
      (Codes{file.InitHTML("Page 1"), file.AddFormToHtml("lost", FormCell),
             file.AddTextLineToHtml("Hello"), file.AddImageToHtml("images/a.png"),
             file.AddFormToHtml(nullptr, FormTable), file.AddFormToHtml(nullptr, FormRow),
             file.AddFormToHtml("x", FormCell), file.AddFormToHtml(nullptr, FormTable),
             file.AddFormToHtml("1 &amp; 2 < 3", FormCell),
             file.AddFormToHtml("seven", static_cast<FormOperator>(7)), file.AddTextLineToHtml(""),
             file.AddImageToXhtml("c.jpg"), file.SaveHtml((dir / "page.html").c_str())}),
      Each(KAV_OK));
  EXPECT_EQ(kDoctype +
                "<html xmlns=\"http://www.w3.org/1999/xhtml\"><head><title>Page 1</title>"
                "<meta name=\"Adept.resource\"/>"
                "<link rel=\"stylesheet\" type=\"text/css\" href=\"main.css\"/></head><body>"
                "<p class=\"text\">Hello</p><div class=\"div1\">"
                "<img src=\"images/a.png\" alt=\"\" class=\"img1\"/></div>"
                "<table border=\"1\" cellpadding=\"0\" cellspacing=\"0\"><tr><td>x</td>"
                "<td>1 &amp; 2 &lt; 3</td></tr></table>"
                "<table border=\"1\" cellpadding=\"0\" cellspacing=\"0\"/><p class=\"text\"/><div>"
                "<svg xmlns=\"http://www.w3.org/2000/svg\" "
                "xmlns:xlink=\"http://www.w3.org/1999/xlink\" version=\"1.1\" width=\"100%\" "
                "height=\"100%\" preserveAspectRatio=\" none \"><image width=\"100%\" "
                "height=\"100%\" xlink:href=\"c.jpg\"/></svg></div></body></html>\n",
            Saved(dir / "page.html"));
}

// Additions before their document are refused or ignored, never a crash. The package and
// navigation documents pass save codes through; a page reports every failure as all ones.
// Nothing is written. Null titles leave their elements empty.
TEST_F(XmlFileTest, Saving_MissingDocumentPathOrDirectory_GiveEachDocumentsCode) {
  EXPECT_THAT((Codes{file.AddTextLineToHtml("a"), file.AddFormToHtml("a", FormTable),
                     file.SaveOpfFile((dir / "a").c_str()), file.SaveNcxFile((dir / "a").c_str())}),
              Each(KAV_ERR_NO_PAGE));
  EXPECT_CODE(KAV_OK, file.AddRecordToOpf("a.html") + file.AddRecordToNcx("a.html"));
  EXPECT_EQ(0xFFFFFFFFu, file.SaveHtml((dir / "a").c_str()));
  ASSERT_CODE(KAV_OK,
              file.InitOpfFile(nullptr, nullptr) + file.InitNcxFile(nullptr) + file.InitHTML("t"));
  for (const std::string& path : {dir / "missing/out.xml", std::string()}) {
    const int code = path.empty() ? KAV_ERR_ARGUMENT : KAV_ERR_XML_SAVE;
    EXPECT_THAT((Codes{file.SaveOpfFile(path.c_str()), file.SaveNcxFile(path.c_str()),
                       file.GenerateContainerFile(path.c_str())}),
                Each(code));
    EXPECT_EQ(0xFFFFFFFFu, file.SaveHtml(path.c_str()));
  }
  EXPECT_TRUE(kavtest::ListFiles(dir.path()).empty());
  ASSERT_CODE(KAV_OK, file.SaveOpfFile((dir / "content.opf").c_str()) +
                          file.SaveNcxFile((dir / "toc.ncx").c_str()));
  EXPECT_NE(std::string::npos, Saved(dir / "content.opf").find("<dc:title/><dc:creator/>"));
  EXPECT_NE(std::string::npos, Saved(dir / "toc.ncx").find("<docTitle><text/></docTitle>"));
}

}  // namespace
