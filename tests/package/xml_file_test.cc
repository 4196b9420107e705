#include "package/xml_file.h"

#include <cctype>
#include <string>
#include <vector>

#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using Saved = std::vector<std::string>;
const char kDecl[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
const char kDoctype[] =
    "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.1//EN\" "
    "\"http://www.w3.org/TR/xhtml11/DTD/xhtml11.dtd\">";

// The lines of a saved document with the fourteen time digits after each
// "urn:uuid:id_" written as "#"; anything else is left for the comparison.
Saved SavedLines(const std::string& path) {
  std::string text = kavtest::ReadFile(path);
  const std::string prefix = "urn:uuid:id_";
  for (size_t at = text.find(prefix); at != std::string::npos; at = text.find(prefix, at + 1)) {
    size_t start = at + prefix.size(), end = start;
    while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end]))) ++end;
    if (end - start == 14) text.replace(start, 14, "#");
  }
  return kavtest::Lines(text);
}

// The book example, then names without extension, other media types and
// an overlong name: every call uses up a number, repeats add nothing.
TEST(PackageDocument, BookExample_SavesTreeInOrderWithNumberGaps) {
  kavtest::TempDir dir;
  XMLFile file;
  ASSERT_CODE(KAV_OK, file.InitOpfFile("Tom & Jerry", "Anon"));
  EXPECT_CODE(KAV_OK, file.AddRecordToOpf("main.css"));
  EXPECT_CODE(KAV_OK, file.AddCoverToOpf("cover.html", "images/cover.jpg"));
  const std::string longName = std::string(300, 'n') + ".html";
  for (const char* name : {"page-1.html", "page-2.html", "page-1.html", "README", "README",
                           "notes.htm", "v.1.JPG", longName.c_str()}) {
    EXPECT_CODE(KAV_OK, file.AddRecordToOpf(name));
  }
  ASSERT_CODE(KAV_OK, file.SaveOpfFile((dir / "content.opf").c_str()));
  EXPECT_EQ(
      SavedLines(dir / "content.opf"),
      (Saved{
          kDecl,
          "<package xmlns=\"http://www.idpf.org/2007/opf\" "
          "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" unique-identifier=\"bookid111\" "
          "version=\"2.0\"><metadata><dc:title>Tom &amp; Jerry</dc:title>"
          "<dc:creator>Anon</dc:creator><dc:language>en</dc:language>"
          "<dc:identifier id=\"bookid111\">urn:uuid:id_#</dc:identifier>"
          "<meta name=\"cover\" content=\"cover-image\"/></metadata><manifest>"
          "<item id=\"ncx\" href=\"toc.ncx\" media-type=\"application/x-dtbncx+xml\"/>"
          "<item id=\"rc_0\" href=\"main.css\" media-type=\"text/css\"/>"
          "<item id=\"cover-image\" href=\"images/cover.jpg\" media-type=\"image/jpeg\"/>"
          "<item id=\"title\" href=\"cover.html\" media-type=\"application/xhtml+xml\"/>"
          "<item id=\"rc_1\" href=\"page-1.html\" media-type=\"application/xhtml+xml\"/>"
          "<item id=\"rc_2\" href=\"page-2.html\" media-type=\"application/xhtml+xml\"/>"
          "<item id=\"rc_6\" href=\"notes.htm\" media-type=\"image/htm\"/>"
          "<item id=\"rc_7\" href=\"v.1.JPG\" media-type=\"image/JPG\"/><item id=\"rc_8\" "
          "href=\"" +
              std::string(255, 'n') +
              "\" media-type=\"application/xhtml+xml\"/>"
              "</manifest><spine toc=\"ncx\"><itemref idref=\"title\"/>"
              "<itemref idref=\"rc_1\"/><itemref idref=\"rc_2\"/><itemref idref=\"rc_8\"/>"
              "</spine><guide>"
              "<reference href=\"cover.html\" type=\"cover\" title=\"Cover\"/></guide></package>",
          ""}));
}

// Titles pass through the entity-reading text setter: an ampersand must be
// escaped first, and one escaped already is escaped again.
TEST(PackageDocument, Titles_AreWrittenWithAmpersandsEscapedOnce) {
  const struct {
    const char *title, *author, *opfTitle, *opfCreator, *ncxTitle;
  } cases[] = {
      {"A&B&C", nullptr, "<dc:title>A&amp;B&amp;C<", "<dc:creator/>", "<text>A&amp;B&amp;C<"},
      {nullptr, "&amp;", "<dc:title/>", "<dc:creator>&amp;amp;<", "<docTitle><text/>"},
  };
  for (const auto& c : cases) {
    kavtest::TempDir dir;
    XMLFile file;
    ASSERT_CODE(KAV_OK, file.InitOpfFile(c.title, c.author));
    ASSERT_CODE(KAV_OK, file.InitNcxFile(c.title));
    ASSERT_CODE(KAV_OK, file.SaveOpfFile((dir / "content.opf").c_str()));
    ASSERT_CODE(KAV_OK, file.SaveNcxFile((dir / "toc.ncx").c_str()));
    const std::string opf = kavtest::ReadFile(dir / "content.opf");
    const std::string ncx = kavtest::ReadFile(dir / "toc.ncx");
    EXPECT_NE(opf.find(c.opfTitle), std::string::npos) << opf;
    EXPECT_NE(opf.find(c.opfCreator), std::string::npos) << opf;
    EXPECT_NE(ncx.find(c.ncxTitle), std::string::npos) << ncx;
  }
}

TEST(NavigationDocument, BookExample_NumbersAndLabelsPointsFromOneAfterInit) {
  kavtest::TempDir dir;
  XMLFile file;
  ASSERT_CODE(KAV_OK, file.InitNcxFile("old"));
  EXPECT_CODE(KAV_OK, file.AddRecordToNcx("old.html"));
  ASSERT_CODE(KAV_OK, file.InitNcxFile("My Book"));
  EXPECT_CODE(KAV_OK, file.AddRecordToNcx("page-1.html"));
  EXPECT_CODE(KAV_OK, file.AddRecordToNcx("page-2.html"));
  ASSERT_CODE(KAV_OK, file.SaveNcxFile((dir / "toc.ncx").c_str()));
  EXPECT_EQ(SavedLines(dir / "toc.ncx"),
            (Saved{kDecl, kDoctype,
                   "<ncx xmlns=\"http://www.daisy.org/z3986/2005/ncx/\" version=\"2005-1\"><head>"
                   "<meta name=\"dtb:uid\" content=\"urn:uuid:id_#\"/>"
                   "<meta name=\"dtb:depth\" content=\"2\"/>"
                   "<meta name=\"dtb:totalPageCount\" content=\"0\"/>"
                   "<meta name=\"dtb:maxPageNumber\" content=\"0\"/></head>"
                   "<docTitle><text>My Book</text></docTitle><navMap>"
                   "<navPoint id=\"c1\" playOrder=\"1\"><navLabel><text>1</text></navLabel>"
                   "<content src=\"page-1.html\"/></navPoint>"
                   "<navPoint id=\"c2\" playOrder=\"2\"><navLabel><text>2</text></navLabel>"
                   "<content src=\"page-2.html\"/></navPoint></navMap></ncx>",
                   ""}));
}

TEST(ContainerFile, WritesThreeLinesWithAttributesInOrderOverAnOldFile) {
  kavtest::TempDir dir;
  kavtest::WriteFile(dir / "container.xml", std::string(5000, 'x'));
  ASSERT_CODE(KAV_OK, XMLFile().GenerateContainerFile((dir / "container.xml").c_str()));
  EXPECT_EQ(SavedLines(dir / "container.xml"),
            (Saved{kDecl, kDoctype,
                   "<container version=\"1.0\" "
                   "xmlns=\"urn:oasis:names:tc:opendocument:xmlns:container\"><rootfiles>"
                   "<rootfile full-path=\"OEBPS/content.opf\" "
                   "media-type=\"application/oebps-package+xml\"/></rootfiles></container>",
                   ""}));
}

// Cells go to the newest row: none before any table, the first table's row
// while the second has none. Operator 7 and the cover picture follow.
TEST(PageDocument, PageExample_AddsEveryStepToTheNewestParent) {
  kavtest::TempDir dir;
  XMLFile file;
  ASSERT_CODE(KAV_OK, file.InitHTML("Page 1"));
  EXPECT_CODE(KAV_OK, file.AddFormToHtml("lost", FormCell));
  EXPECT_CODE(KAV_OK, file.AddTextLineToHtml("Hello"));
  EXPECT_CODE(KAV_OK, file.AddImageToHtml("images/a.png"));
  EXPECT_CODE(KAV_OK, file.AddFormToHtml(nullptr, FormTable));
  EXPECT_CODE(KAV_OK, file.AddFormToHtml(nullptr, FormRow));
  EXPECT_CODE(KAV_OK, file.AddFormToHtml("x", FormCell));
  EXPECT_CODE(KAV_OK, file.AddFormToHtml(nullptr, FormTable));
  EXPECT_CODE(KAV_OK, file.AddFormToHtml("1 &amp; 2 < 3", FormCell));
  EXPECT_CODE(KAV_OK, file.AddFormToHtml("seven", static_cast<FormOperator>(7)));
  EXPECT_CODE(KAV_OK, file.AddTextLineToHtml(""));
  EXPECT_CODE(KAV_OK, file.AddImageToXhtml("c.jpg"));
  ASSERT_CODE(KAV_OK, file.SaveHtml((dir / "page.html").c_str()));
  EXPECT_EQ(
      SavedLines(dir / "page.html"),
      (Saved{kDecl, kDoctype,
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
             "height=\"100%\" xlink:href=\"c.jpg\"/></svg></div></body></html>",
             ""}));
}

// The package and navigation documents pass save codes through; a page
// reports every failure as all ones. Nothing is written.
TEST(Saving, MissingDocumentPathOrDirectory_GiveEachDocumentsCode) {
  kavtest::TempDir dir;
  const std::string missing = dir / "missing/out.xml";
  XMLFile file;
  // Additions before their document are refused or ignored, never a crash.
  EXPECT_CODE(KAV_ERR_NO_PAGE, file.AddTextLineToHtml("a"));
  EXPECT_CODE(KAV_ERR_NO_PAGE, file.AddFormToHtml("a", FormTable));
  EXPECT_CODE(KAV_OK, file.AddRecordToOpf("a.html") + file.AddRecordToNcx("a.html"));
  EXPECT_CODE(KAV_ERR_NO_PAGE, file.SaveOpfFile((dir / "a").c_str()));
  EXPECT_CODE(KAV_ERR_NO_PAGE, file.SaveNcxFile((dir / "a").c_str()));
  EXPECT_EQ(0xFFFFFFFFu, file.SaveHtml((dir / "a").c_str()));
  ASSERT_CODE(KAV_OK, file.InitOpfFile("t", "a") + file.InitNcxFile("t") + file.InitHTML("t"));
  for (const char* path : {missing.c_str(), ""}) {
    const int code = *path == '\0' ? KAV_ERR_ARGUMENT : KAV_ERR_XML_SAVE;
    EXPECT_CODE(code, file.SaveOpfFile(path));
    EXPECT_CODE(code, file.SaveNcxFile(path));
    EXPECT_EQ(0xFFFFFFFFu, file.SaveHtml(path));
    EXPECT_CODE(code, file.GenerateContainerFile(path));
  }
  EXPECT_TRUE(kavtest::ListFiles(dir.path()).empty());
}

}  // namespace
