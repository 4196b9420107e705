// The HTML clean-up pipeline: result codes, the rebuilt page, the passes
// after the walk, and hostile sources.
#include <libxml/globals.h>

#include <random>
#include <string>

#include "cleaned_page.h"
#include "xml/tree_depth.h"

namespace {

using kavtest::WriteFile;
using HtmlProcess = CleanupTest;

int g_reports = 0;
void CountGeneric(void*, const char*, ...) { ++g_reports; }
void CountStructured(void*, xmlError*) { ++g_reports; }

// Failures print nothing, and the host's libxml2 handlers neither hear the
// clean-up nor take the validity errors away from the repairs.
TEST_F(HtmlProcess, ResultCodesQuietlyAndHostHandlersKept) {
  int marker = 0;
  xmlSetGenericErrorFunc(&marker, CountGeneric);
  xmlSetStructuredErrorFunc(&marker, CountStructured);
  ::testing::internal::CaptureStderr();

  XMLBase uninitialised;
  EXPECT_CODE(KAV_ERR_NO_DOCUMENT, uninitialised.HtmlProcess("p.html", ".", "T", dtd_.c_str()));
  EXPECT_CODE(KAV_ERR_OPEN, CleanFile(src_ + "/absent.html", dtd_));
  EXPECT_CODE(KAV_ERR_OPEN, CleanFile("", dtd_));
  EXPECT_CODE(KAV_ERR_NO_ELEMENT, CleanSource("<html><head><title>t</title></head></html>"));
  WriteFile(src_ + "/page.html", "<p>x</p>");
  WriteFile(dir_ / "broken.dtd", "<!ELEMENT html (head, body)><!ATTLIST");
  EXPECT_CODE(KAV_ERR_MISSING, CleanFile(src_ + "/page.html", dir_ / "absent.dtd"));
  EXPECT_CODE(KAV_ERR_MISSING, CleanFile(src_ + "/page.html", dir_ / "broken.dtd"));
  ASSERT_CODE(KAV_OK, CleanBody("<p>a<font>b</font></p>"));

  EXPECT_EQ("", ::testing::internal::GetCapturedStderr());
  EXPECT_EQ(0, g_reports);
  EXPECT_EQ("<p>a<span>b</span></p>", SavedBody());
  EXPECT_EQ(nullptr, page_->State());
  EXPECT_TRUE(xmlGenericError == CountGeneric && xmlGenericErrorContext == &marker);
  EXPECT_TRUE(xmlStructuredError == CountStructured && xmlStructuredErrorContext == &marker);
  xmlSetGenericErrorFunc(nullptr, nullptr);
  xmlSetStructuredErrorFunc(nullptr, nullptr);
}

TEST_F(HtmlProcess, HeadLinksTheStyleSheetOnlyWhenItLiesBesideTheSource) {
  ASSERT_CODE(KAV_OK, CleanBody("<p>x</p>"));
  SavedBody();
  xmlNode* html = xmlDocGetRootElement(saved_);
  EXPECT_STREQ("http://www.w3.org/1999/xhtml", reinterpret_cast<const char*>(html->ns->href));
  EXPECT_EQ("<title>Title</title>", InnerXml(ChildNamed(html, "head")));
  EXPECT_TRUE(SavedIsValid());

  MakeSourceFile("main.css");
  ASSERT_CODE(KAV_OK, CleanBody("<p>x</p>"));
  EXPECT_EQ("<title>Title</title><link rel=\"stylesheet\" type=\"text/css\" href=\"main.css\"/>",
            InnerXml(ChildNamed(xmlDocGetRootElement(page_->Doc()), "head")));
  EXPECT_EQ(std::vector<std::string>{"main.css"}, ExternSources());
}

TEST_F(HtmlProcess, LooseContentIsWrappedAndFragmentLinksNeedARegisteredId) {
  // The font in the list is dropped before its id is ever registered.
  ASSERT_CODE(KAV_OK, CleanBody("text<p id=\"k\">k</p><p id=\"k\">2</p><ul><li>l</li><font "
                                "id=\"lost\">x</font></ul><em>e</em><span><a href=\"#k\">1</a>"
                                "<a href=\"#lost\">2</a><a href=\"page.html#k\">3</a></span>"));
  EXPECT_EQ(
      "<div>text</div><p id=\"k\">k</p><p>2</p><ul><li>l</li></ul><div><em>e</em></div>"
      "<div><span><a href=\"#k\">1</a><span style=\"color:#0000ff;\">2</span>"
      "<span style=\"color:#0000ff;\">3</span></span></div>",
      SavedBody());
  EXPECT_TRUE(SavedIsValid());
}

// The map loses its empty id in the attribute pass; after its children are
// walked (a script queued, a link registered) the block renamed from center
// makes libxml2 report the missing id, and the map is emptied. Queued nodes
// now lie inside queued nodes, the link inside a deleted subtree: each must
// be freed once and never read afterwards (the sanitizer build checks).
TEST_F(HtmlProcess, ElementEmptiedAfterItsChildrenWereWalkedIsDeletedSafely) {
  ASSERT_CODE(KAV_OK, CleanBody("<div><map id=\"\"><p><script>x()</script><a href=\"#no\">a</a>"
                                "</p><center>c</center></map></div><p>end</p>"));
  EXPECT_EQ("<div><map map=\" \"/></div><p>end</p>", SavedBody());
}

TEST_F(HtmlProcess, DtdPathWithBlankIsReadAsUri) {
  kavtest::MakeDirs(dir_ / "my dir");
  WriteFile(dir_ / "my dir/strict.dtd", kXhtml1StrictDtd[0]);
  WriteFile(src_ + "/page.html", "<p>a<font>b</font></p>");
  ASSERT_CODE(KAV_OK, CleanFile(src_ + "/page.html", dir_ / "my dir/strict.dtd"));
  EXPECT_EQ("<p>a<span>b</span></p>", SavedBody());
}

TEST_F(HtmlProcess, DeepNestingAndRandomBytesGiveACodeAndNeverACrash) {
  for (const std::string tag : {"div", "span", "blockquote", "font", "ul"}) {
    SCOPED_TRACE(tag);
    std::string html;
    for (int i = 0; i < 100000; ++i) html += "<" + tag + ">";
    ASSERT_CODE(KAV_OK, CleanSource(html + "deep"));
    EXPECT_NE("not well-formed", SavedBody());
  }
  std::mt19937 generator(20240611);
  const std::string markup = "<>/=\"' abpimgulsrcdhef#:.-!";
  for (int round = 0; round < 40; ++round) {
    std::string bytes;
    for (int i = 0; i < 3000; ++i) {
      // Every other round leans towards markup, so the walk has work to do.
      unsigned value = generator();
      bytes += round % 2 == 0 ? static_cast<char>(value) : markup[value % markup.size()];
    }
    int code = CleanSource(bytes);
    EXPECT_TRUE(code == KAV_OK || code == KAV_ERR_OPEN || code == KAV_ERR_NO_ELEMENT) << code;
    ExternSources();
  }
}

TEST(TreeDepth, PruneKeepsTheLevelsAboveTheBoundAtAnyDepth) {
  xmlNode* top = xmlNewNode(nullptr, BAD_CAST "div");
  xmlNode* node = top;
  for (int i = 0; i < 200000; ++i) node = xmlNewChild(node, nullptr, BAD_CAST "div", nullptr);
  xmlNewChild(top, nullptr, BAD_CAST "p", nullptr);  // a sibling after the deep chain
  EXPECT_EQ(1, kav_xml::PruneBelowDepth(top, kav_xml::kMaxTreeDepth));
  int depth = 0;
  for (node = top; node->children != nullptr; node = node->children) ++depth;
  EXPECT_EQ(kav_xml::kMaxTreeDepth, depth);
  EXPECT_STREQ("p", reinterpret_cast<const char*>(top->last->name));
  xmlFreeNode(xmlCopyNode(top, 1));  // the copy recurses in libxml2: safe only now
  xmlFreeNode(top);
}

}  // namespace
