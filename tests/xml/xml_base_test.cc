#include "xml/xml_base.h"

#include <gmock/gmock.h>

#include <string>
#include <tuple>
#include <vector>

#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using ::testing::Each;
using Lines = std::vector<std::string>;
using Codes = std::vector<long long>;  // braced lists evaluate in order
const char kDecl[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

struct ParsedXml : XMLBase {
  explicit ParsedXml(const std::string& xml) {
    doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), nullptr, nullptr, 0);
    root = xmlDocGetRootElement(doc);
  }
  using XMLBase::doc, XMLBase::root;
};

// The id attribute of node: "none" without one, "null" for no node.
std::string Id(xmlNode* node) {
  xmlChar* id = node != nullptr ? xmlGetProp(node, BAD_CAST "id") : nullptr;
  std::string text = id != nullptr ? reinterpret_cast<const char*>(id) : node ? "none" : "null";
  xmlFree(id);
  return text;
}

Lines SavedLines(XMLBase& doc) {
  kavtest::TempDir dir;
  EXPECT_CODE(KAV_OK, doc.SaveFile((dir / "doc.xml").c_str()));
  return kavtest::Lines(kavtest::ReadFile(dir / "doc.xml"));
}

// Attribute records cut names and values at 255 bytes, never inside a character; null is empty.
TEST(XmlBase, PageIsSavedUnformattedWithDoctypeAttributesInChainOrderAndEntitiesRead) {
  XMLAttrInfo lang{}, xmlns{}, cut{}, empty{};
  SetAttrInfo(&xmlns, "xmlns", "http://www.w3.org/1999/xhtml", SetAttrInfo(&lang, "lang", "en", 0));
  const std::string name(300, 'n'), value = std::string(254, 'v') + "\xC3\xA9" + "w";
  SetAttrInfo(&cut, name.c_str(), value.c_str(), SetAttrInfo(&empty, "b", nullptr, nullptr));
  XMLBase page;
  EXPECT_THAT(
      (Codes{page.Init(), page.AddXMLNode(nullptr, "html", &xmlns),
             page.AddXMLNode("html", "head", &cut), page.AddXMLNode("head", "title", nullptr),
             page.AddTextToNode("title", "A &amp; B <c>")}),
      Each(KAV_OK));
  EXPECT_EQ((Lines{kDecl,
                   "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.1//EN\" "
                   "\"http://www.w3.org/TR/xhtml11/DTD/xhtml11.dtd\">",
                   "<html xmlns=\"http://www.w3.org/1999/xhtml\" lang=\"en\"><head " +
                       name.substr(0, 255) + "=\"" + value.substr(0, 254) +
                       "\" b=\"\"><title>A &amp; B &lt;c&gt;</title></head></html>",
                   ""}),
            SavedLines(page));
}

// InitForOpf starts a fresh document without doctype; a new root replaces the old.
TEST(XmlBase, FailuresReturnTheirCodesQuietlyAndNewDocumentsReplaceTheOld) {
  kavtest::TempDir dir;
  XMLBase empty, doc;
  EXPECT_THAT(
      (Codes{empty.SaveFile((dir / "a.xml").c_str()), empty.AddXMLNode(nullptr, "root", nullptr)}),
      Each(KAV_ERR_NO_DOCUMENT));
  ASSERT_THAT((Codes{doc.Init(), doc.AddXMLNode(nullptr, "gone", nullptr), doc.InitForOpf(),
                     doc.AddXMLNode(nullptr, "root", nullptr)}),
              Each(KAV_OK));
  testing::internal::CaptureStderr();
  EXPECT_THAT((Codes{doc.SaveFile(""), doc.AddXMLNode("root", "", nullptr),
                     doc.AddTextToNode("", "t"), doc.SetNodeAttribute(nullptr, "a", "v")}),
              Each(KAV_ERR_ARGUMENT));
  EXPECT_THAT((Codes{doc.AddXMLNode("nope", "x", nullptr), doc.AddXMLNode("", "x", nullptr),
                     doc.AddTextToNode("nope", "t"), doc.SetNodeAttribute("root-2", "a", "v"),
                     doc.DelCommentNode(nullptr)}),
              Each(KAV_ERR_NO_ELEMENT));
  EXPECT_CODE(KAV_ERR_XML_SAVE, doc.SaveFile((dir / "missing/a.xml").c_str()));
  EXPECT_EQ(nullptr, XMLBase::GetNodeSet(nullptr, BAD_CAST "//a"));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ("<root/>", SavedLines(doc).at(1));
  EXPECT_THAT((Codes{doc.AddXMLNode("root", "child", nullptr),
                     doc.AddXMLNode(nullptr, "new", nullptr), doc.AddTextToNode("new", "t")}),
              Each(KAV_OK));
  EXPECT_EQ((Lines{kDecl, "<new>t</new>", ""}), SavedLines(doc));
}

TEST(XmlBase, TreeUtilitiesRemoveCommentsAndNodesBuildAHeadAndFindNodeSets) {
  ParsedXml xml(
      "<r><!--a--><x><![CDATA[c]]><y id='y'><!--b-->t<![CDATA[d]]></y></x><comment><!--k-->"
      "<![CDATA[k]]></comment><!--z--><y id='y2'/></r>");
  EXPECT_CODE(KAV_OK, xml.DelCommentNode(xml.root));
  EXPECT_EQ("y2", Id(xml.FindLastNode(xml.root, "y")));
  EXPECT_CODE(KAV_OK, xml.DelNode(xml.root->last));  // the node found last
  EXPECT_EQ("y", Id(xml.FindLastNode(xml.root, "y")));
  xmlAddChild(xml.root, XMLBase::GenerateHeadNode("T &amp; U"));
  EXPECT_EQ(
      "<r><x><y id=\"y\">t</y></x><comment><!--k--><![CDATA[k]]></comment><head><title>T "
      "&amp; U</title><link rel=\"stylesheet\" type=\"text/css\" href=\"main.css\"/></head></r>",
      SavedLines(xml).at(1));
  xmlXPathObject* found = XMLBase::GetNodeSet(xml.doc, BAD_CAST "//y|//link");
  EXPECT_EQ(2, found != nullptr ? found->nodesetval->nodeNr : -1);
  xmlXPathFreeObject(found);
  testing::internal::CaptureStderr();
  EXPECT_EQ(nullptr, XMLBase::GetNodeSet(xml.doc, BAD_CAST "//nope"));
  EXPECT_EQ(nullptr, XMLBase::GetNodeSet(xml.doc, BAD_CAST "//["));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
}

const char kTable[] =
    "<html><body><table><tr id='r1'><td id='c1'>1</td></tr><tr id='r2'><td id='c2a'/>"
    "<td id='c2b'/></tr><tr id='r3'><td id='c3'/><b id='b3'/></tr></table>"
    "<div><p id='p1'/><span/></div><p id='p2'/></body></html>";

TEST(NodePath, FindNodeCountsOccurrencesAmongTheStartAndItsFollowingSiblings) {
  // clang-format off
  const char* const cases[][2] = {
      {"tr-3", "r3"}, {"tr-1", "r1"}, {"tr", "r1"}, {"tr-4", "null"}, {"tr-2/td", "c2a"},
      {"tr-2/b", "b3"}, {"tr-2/td-2", "c2b"}, {"td-2", "c2b"}, {"td-3", "null"},
      {"tr\\td", "c1"}, {"body/tr-3\\td", "c3"}, {"tr-0", "null"}, {"tr--1", "null"},
      {"tr-", "null"}, {"tr-99999999999999999999", "null"}, {"tr-4294967297", "null"}};
  // clang-format on
  ParsedXml xml(kTable);
  for (const auto& c : cases) EXPECT_EQ(c[1], Id(xml.FindNode(xml.root, c[0]))) << c[0];
  EXPECT_EQ(nullptr, xml.FindNode(nullptr, "tr"));
  // Through the lookup rule only an indexed path takes the first match.
  EXPECT_CODE(KAV_OK, xml.SetNodeAttribute("tr", "id", "newest"));
  EXPECT_CODE(KAV_OK, xml.SetNodeAttribute("tr-1", "id", "first"));
  EXPECT_EQ("newest", Id(xml.FindNode(xml.root, "tr-3")));
  EXPECT_EQ("first", Id(xml.FindNode(xml.root, "tr")));
  // Found missing in one pass: a pass per combination of siblings would never end.
  std::string rows;
  for (int i = 1; i <= 60; ++i) rows += "<tr id='r" + std::to_string(i) + "'><td/><td/></tr>";
  ParsedXml many("<table>" + rows + "</table>");
  EXPECT_EQ("null", Id(many.FindNode(many.root, "tr-61")));
  EXPECT_EQ("null", Id(many.FindNode(many.root, "tr-30/td-3")));
}

TEST(NodePath, FindLastNodeTakesTheNewestMatchOrAShortcutFromTheLastFound) {
  const char* const cases[][2] = {{"tr", "r3"},     {"tr/td", "c3"}, {"table/tr\\td", "c3"},
                                  {"tr\\td", "c3"}, {"div/p", "p1"}, {"p", "p2"},
                                  {"nope", "null"}};
  for (const auto& c : cases) {
    ParsedXml fresh(kTable);  // no earlier answer to start from
    EXPECT_EQ(c[1], Id(fresh.FindLastNode(fresh.root, c[0]))) << c[0];
  }
  ParsedXml xml(kTable);
  xmlNode* div = xml.FindNode(xml.root, "div");
  EXPECT_EQ("c2a", Id(xml.FindLastNode(xml.FindNode(xml.root, "tr-2/td"), "td")));
  EXPECT_EQ("c2b", Id(xml.FindLastNode(xml.root, "td")));  // next sibling, not the newest
  EXPECT_EQ("c2b", Id(xml.FindLastNode(xml.root, "td")));  // itself
  EXPECT_EQ("r2", Id(xml.FindLastNode(xml.root, "tr")));   // its parent
  EXPECT_EQ("r3", Id(xml.FindLastNode(div, "tr")));        // outside the subtree of div
  EXPECT_EQ("p1", Id(xml.FindLastNode(div, "p")));         // no shortcut fits
  // A next sibling of another name sends the search from the start at once.
  EXPECT_EQ("p2", Id(xml.FindLastNode(xml.root, "p")));
}

// Escapes of unreserved characters stay. Replacement works from the end, never rescans
// inserted text, takes a length (negative: to the end); a null replacement removes.
TEST(TextEscaping, PercentEncodingAndReplaceString) {
  std::string text = "My%20File%2Ehtml%2f%5B%2520%C3%A9";
  EXPECT_EQ("My File%2Ehtml/[%2520%C3%A9", XMLBase::PercentEncoding(text));
  // clang-format off
  const struct { const char *input, *pattern; int length; const char *with, *expected; } rows[] = {
      {"aaaa", "a", 1, "aa", "aaaaaaaa"}, {"abcabc", "b", 2, "X", "aXaX"},
      {"abc", "a", 0, "_", "_abc"}, {"abc", "b", -1, "Z", "aZ"}, {"a.b", ".", 1, nullptr, "ab"}};
  // clang-format on
  for (const auto& c : rows) {
    std::string text = c.input;
    EXPECT_EQ(c.expected, XMLBase::ReplaceString(text, c.pattern, c.length, c.with)) << c.input;
  }
}

// A file stays byte for byte when nothing is or can be written.
TEST(MobiHtmlLinks, ReferencesAreRewrittenInPlace) {
  const std::string cover = "<html><body><image src=\"c\"/><p><image src=\"d\"/></p></body></html>";
  const std::string page = "<html><body><p>a</p></body></html>";
  // The page, its images, and the element tree (the third line of the file).
  const std::tuple<std::string, Lines, std::string> cases[] = {
      {"<html><body><p><img recindex=\"1\" alt=\"x\"><img recindex=\"00001\"><img recindex=\"2\">"
       "<img recindex=\"-1\"><img src=\"k.png\" alt=\"k\"><img recindex=\"abc\"></p></body></html>",
       {"a.png", "b.png"},
       "<html><body><p><img src=\"b.png\"/><img src=\"b.png\"/><img src=\"k.png\" alt=\"k\"/>"
       "<img src=\"a.png\"/></p></body></html>"},
      {cover, {"c.jpg"}, "<html><body><img src=\"c.jpg\"/><p><image src=\"d\"/></p></body></html>"},
      {cover, {"", "x.png"}, "<html><body><p><image src=\"d\"/></p></body></html>"},
      {page + "<html><body><p>b</p></body></html><html><p>c</p></html>", {"x.png"}, page}};
  kavtest::TempDir dir;
  const std::string path = dir / "page.html";
  for (const auto& [html, given, expected] : cases) {
    kavtest::WriteFile(path, html);
    Lines images = given;
    EXPECT_CODE(KAV_OK, XMLBase::MobiHtmlProcess(path.c_str(), "UTF-8", images));
    EXPECT_EQ(given, images);
    const auto lines = kavtest::Lines(kavtest::ReadFile(path));
    EXPECT_EQ(expected, lines.size() > 2 ? lines[2] : "") << html;
  }
  const std::string html = "<html>\n<body><img recindex=\"1\"></body></html>\n";
  kavtest::WriteFile(path, html);
  Lines none, images = {"a.png", "b.png"};
  testing::internal::CaptureStderr();
  EXPECT_CODE(KAV_OK, XMLBase::MobiHtmlProcess(path.c_str(), "UTF-8", none));
  EXPECT_CODE(KAV_ERR_MOBI_HTML_SAVE, XMLBase::MobiHtmlProcess(path.c_str(), "no-such", images));
  EXPECT_CODE(KAV_ERR_MISSING, XMLBase::MobiHtmlProcess((dir / "no.html").c_str(), "", images));
  EXPECT_CODE(KAV_ERR_MISSING, XMLBase::MobiHtmlProcess(dir.path().c_str(), "UTF-8", images));
  EXPECT_EQ("", testing::internal::GetCapturedStderr());
  EXPECT_EQ(html, kavtest::ReadFile(path));
}

}  // namespace
