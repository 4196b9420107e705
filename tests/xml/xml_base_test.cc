#include <string>
#include <vector>

#include "parsed_xml.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

const char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

std::vector<std::string> SavedLines(XMLBase& doc) {
  kavtest::TempDir dir;
  EXPECT_CODE(KAV_OK, doc.SaveFile((dir / "doc.xml").c_str()));
  return kavtest::Lines(kavtest::ReadFile(dir / "doc.xml"));
}

TEST(XmlBase, PageIsSavedUnformattedWithDoctypeAttributesInChainOrderAndEntitiesRead) {
  XMLBase page;
  ASSERT_CODE(KAV_OK, page.Init());
  XMLAttrInfo lang{}, xmlns{};
  SetAttrInfo(&xmlns, "xmlns", "http://www.w3.org/1999/xhtml", SetAttrInfo(&lang, "lang", "en", 0));
  EXPECT_CODE(KAV_OK, page.AddXMLNode(nullptr, "html", &xmlns));
  page.AddXMLNode("html", "head", nullptr);
  page.AddXMLNode("head", "title", nullptr);
  EXPECT_CODE(KAV_OK, page.AddTextToNode("title", "A &amp; B <c>"));
  EXPECT_EQ((std::vector<std::string>{kDeclaration,
                                      "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.1//EN\" "
                                      "\"http://www.w3.org/TR/xhtml11/DTD/xhtml11.dtd\">",
                                      "<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\">"
                                      "<head><title>A &amp; B &lt;c&gt;</title></head></html>",
                                      ""}),
            SavedLines(page));
}

TEST(XmlBase, PlainPathsFillTheNewestElementAndNewDocumentsAndRootsReplaceTheOld) {
  XMLBase ncx;
  ASSERT_CODE(KAV_OK, ncx.Init());
  ncx.AddXMLNode(nullptr, "old", nullptr);
  ASSERT_CODE(KAV_OK, ncx.InitForOpf());  // a fresh document without doctype
  ncx.AddXMLNode(nullptr, "old", nullptr);
  ncx.AddXMLNode("old", "child", nullptr);
  EXPECT_CODE(KAV_OK, ncx.AddXMLNode(nullptr, "ncx", nullptr));
  ncx.AddXMLNode("ncx", "docTitle", nullptr);
  ncx.AddXMLNode("docTitle", "text", nullptr);
  ncx.AddTextToNode("text", "Book");
  ncx.AddXMLNode("ncx", "navMap", nullptr);
  for (const char* label : {"1", "2"}) {
    EXPECT_CODE(KAV_OK, ncx.AddXMLNode("navMap", "navPoint", nullptr));
    EXPECT_CODE(KAV_OK, ncx.AddXMLNode("navPoint", "navLabel", nullptr));
    EXPECT_CODE(KAV_OK, ncx.AddXMLNode("navLabel", "text", nullptr));
    EXPECT_CODE(KAV_OK, ncx.AddTextToNode("text", label));
    EXPECT_CODE(KAV_OK, ncx.AddXMLNode("navPoint", "content", nullptr));
  }
  EXPECT_EQ((std::vector<std::string>{
                kDeclaration,
                "<ncx><docTitle><text>Book</text></docTitle><navMap><navPoint><navLabel><text>1"
                "</text></navLabel><content/></navPoint><navPoint><navLabel><text>2"
                "</text></navLabel><content/></navPoint></navMap></ncx>",
                ""}),
            SavedLines(ncx));
}

TEST(XmlBase, FailuresReturnTheirCodesQuietlyAndChangeNothing) {
  kavtest::TempDir dir;
  XMLBase empty, doc;
  EXPECT_CODE(KAV_ERR_NO_DOCUMENT, empty.SaveFile((dir / "a.xml").c_str()));
  EXPECT_CODE(KAV_ERR_NO_DOCUMENT, empty.AddXMLNode(nullptr, "root", nullptr));
  ASSERT_CODE(KAV_OK, doc.InitForOpf());
  ASSERT_CODE(KAV_OK, doc.AddXMLNode(nullptr, "root", nullptr));
  testing::internal::CaptureStderr();
  EXPECT_CODE(KAV_ERR_ARGUMENT, doc.SaveFile(""));
  EXPECT_CODE(KAV_ERR_XML_SAVE, doc.SaveFile((dir / "missing/a.xml").c_str()));
  EXPECT_CODE(KAV_ERR_NO_ELEMENT, doc.AddXMLNode("nope", "x", nullptr));
  EXPECT_CODE(KAV_ERR_NO_ELEMENT, doc.AddXMLNode("", "x", nullptr));
  EXPECT_CODE(KAV_ERR_ARGUMENT, doc.AddXMLNode("root", "", nullptr));
  EXPECT_CODE(KAV_ERR_ARGUMENT, doc.AddTextToNode("", "t"));
  EXPECT_CODE(KAV_ERR_NO_ELEMENT, doc.AddTextToNode("nope", "t"));
  EXPECT_CODE(KAV_ERR_ARGUMENT, doc.SetNodeAttribute(nullptr, "a", "v"));
  EXPECT_CODE(KAV_ERR_NO_ELEMENT, doc.SetNodeAttribute("root-2", "a", "v"));
  EXPECT_CODE(KAV_ERR_NO_ELEMENT, doc.DelCommentNode(nullptr));
  EXPECT_EQ(nullptr, XMLBase::GetNodeSet(nullptr, BAD_CAST "//a"));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ("<root/>", SavedLines(doc).at(1));
}

TEST(XmlBase, TreeUtilitiesRemoveCommentsAndNodesBuildAHeadAndFindNodeSets) {
  ParsedXml xml(
      "<r><!--a--><x><![CDATA[c]]><y id='y'><!--b-->t<![CDATA[d]]></y></x><comment><!--k-->"
      "<![CDATA[k]]></comment><!--z--><y id='y2'/></r>");
  EXPECT_CODE(KAV_OK, xml.DelCommentNode(xml.Root()));
  EXPECT_EQ("y2", Id(xml.FindLastNode(xml.Root(), "y")));
  EXPECT_CODE(KAV_OK, xml.DelNode(xml.Root()->last));  // the node found last
  EXPECT_EQ("y", Id(xml.FindLastNode(xml.Root(), "y")));
  xmlAddChild(xml.Root(), XMLBase::GenerateHeadNode("T &amp; U"));
  EXPECT_EQ(
      "<r><x><y id=\"y\">t</y></x><comment><!--k--><![CDATA[k]]></comment><head><title>T "
      "&amp; U</title><link rel=\"stylesheet\" type=\"text/css\" href=\"main.css\"/></head></r>",
      SavedLines(xml).at(1));
  xmlXPathObject* found = XMLBase::GetNodeSet(xml.Doc(), BAD_CAST "//y|//link");
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(2, found->nodesetval->nodeNr);
  xmlXPathFreeObject(found);
  testing::internal::CaptureStderr();
  EXPECT_EQ(nullptr, XMLBase::GetNodeSet(xml.Doc(), BAD_CAST "//nope"));
  EXPECT_EQ(nullptr, XMLBase::GetNodeSet(xml.Doc(), BAD_CAST "//["));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

TEST(XmlBase, SetAttrInfoCutsLongNamesAndValuesWithoutSplittingACharacter) {
  XMLAttrInfo next{}, info{};
  const std::string name(300, 'n');
  const std::string value = std::string(254, 'v') + "\xC3\xA9" + std::string(50, 'w');
  EXPECT_EQ(&info, SetAttrInfo(&info, name.c_str(), value.c_str(), &next));
  EXPECT_EQ(&next, info.next);
  SetAttrInfo(&next, "b", nullptr, nullptr);
  XMLBase doc;
  ASSERT_CODE(KAV_OK, doc.InitForOpf());
  ASSERT_CODE(KAV_OK, doc.AddXMLNode(nullptr, "e", &info));
  EXPECT_EQ("<e " + name.substr(0, 255) + "=\"" + value.substr(0, 254) + "\" b=\"\"/>",
            SavedLines(doc).at(1));
}

}  // namespace
