// The validate-and-repair walk, seen through small pages cleaned end to end.
#include <string>
#include <vector>

#include "cleaned_page.h"

namespace {

using Cases = std::vector<std::vector<std::string>>;  // source body, saved body

class Repair : public CleanupTest {
 protected:
  // Each result must also be valid against the DTD.
  void ExpectValidRepairs(const Cases& cases) {
    for (const auto& c : cases) {
      SCOPED_TRACE(c[0]);
      ASSERT_CODE(KAV_OK, CleanBody(c[0]));
      EXPECT_EQ(c[1], SavedBody());
      EXPECT_TRUE(SavedIsValid());
    }
  }
};

TEST_F(Repair, Elements) {
  ExpectValidRepairs({
      {"<p>a<font color=\"red\">b</font></p>", "<p>a<span>b</span></p>"},
      {"<center class=\"x\">c</center>", "<div>c</div>"},
      {"<ul><li>a</li><font>b</font></ul>", "<ul><li>a</li></ul>"},
      {"<div>a<script>e()</script><!-- note -->b</div>", "<div>ab</div>"},
      // The paragraph is validated before its children are walked: its
      // invalid style child is renamed first, and only its content goes.
      {"<p>x<style>p{}</style></p>", "<p>x<span/></p>"},
      {"<blockquote cite=\"u\" class=\"q\"><p>q</p></blockquote>", "<div><p>q</p></div>"},
      {"<div style=\"color:red\" class=\"k\">d</div>", "<div class=\"k\">d</div>"},
      {"<p><ins cite=\"u\" datetime=\"2020\" class=\"x\">n</ins></p>", "<p><ins>n</ins></p>"},
      // A missing required attribute is supplied and the element emptied.
      {"<p><bdo>z</bdo></p>", "<p><bdo dir=\"ltr\"/></p>"},
  });
}

TEST_F(Repair, Images) {
  for (const char* file : {"pic.bmp", "pic.PNG", "images/My Pic.png", "i.gif"})
    MakeSourceFile(file);
  ExpectValidRepairs({
      {"<p>a<img alt=\"x\"/><img src=\"pic.bmp\"/><img src=\"pic.PNG\"/></p>", "<p>a</p>"},
      {"<p><img src=\"http://e.com/x.png\" alt=\"A &amp; B\"/></p>",
       "<p><span style=\"color:#0000ff;\">A &amp; B</span></p>"},
      {"<p><img src=\"gone.png\" alt=\"gone\"/></p>",
       "<p><span style=\"color:#0000ff;\">gone</span></p>"},
      {"<p><img src=\"images/My%20Pic.png\" alt=\"\"/></p>",
       "<p><img src=\"My%20Pic.png\" alt=\"\"/></p>"},
      {"<p><img src=\"i.gif\"/></p>", "<p><img src=\"i.gif\" alt=\" \"/></p>"},
  });
}

TEST_F(Repair, Anchors) {
  MakeSourceFile("y.html");
  ExpectValidRepairs({
      {"<p><a href=\"javascript:go()\">js</a></p>",
       "<p><span style=\"color:#0000ff;\">js</span></p>"},
      {"<p><a name=\"n1\" title=\"t\">n</a><a>b</a></p>",
       "<p><a title=\"t\">n</a><span>b</span></p>"},
      {"<p><a href=\"http://e.com/f.html\">f</a><a href=\"http://e.com/\">s</a></p>",
       "<p><span style=\"color:#0000ff;\">f</span><a href=\"http://e.com/\">s</a></p>"},
      {"<p><a href=\"missing.html\">m</a></p>", "<p><span style=\"color:#0000ff;\">m</span></p>"},
      {"<ul><li>i</li><a href=\"y.html\"></a></ul>", "<ul><li>i</li></ul>"},
  });
}

TEST_F(Repair, Attributes) {
  ExpectValidRepairs({
      {"<p id=\"a\">1</p><p id=\"a\">2</p><p id=\"b c\">3</p>",
       "<p id=\"a\">1</p><p>2</p><p>3</p>"},
      {"<p lang=\"en\" class=\"c\">x</p>", "<p class=\"c\" xml:lang=\"en\">x</p>"},
      {"<p lang=\"fr\" xml:lang=\"de\">x</p>", "<p xml:lang=\"fr\">x</p>"},
      {"<p onclick=\"a()\" onkeyup=\"b()\" onmouseout=\"c()\" title=\"\" o=\"1\" "
       "class=\"c\">x</p>",
       "<p class=\"c\">x</p>"},
      {"<p width=\"3\" dir=\"up\">x</p>", "<p dir=\"ltr\">x</p>"},
      {"<pre xml:space=\"bogus\">x</pre>", "<pre xml:space=\"preserve\">x</pre>"},
  });
}

TEST_F(Repair, DeliberateQuirksLeaveInvalidResults) {
  // "tml" is part of "html" in the allowed names and passes; font does not.
  ASSERT_CODE(KAV_OK, CleanBody("<tml>x</tml><font>y</font>"));
  EXPECT_EQ("<div><tml>x</tml></div><div><span>y</span></div>", SavedBody());
  // A map lacking its id gets an attribute named after itself, removed
  // again as undeclared, and is emptied; its name never becomes an id.
  ASSERT_CODE(KAV_OK, CleanBody("<div><map name=\"m\"><p>x</p></map></div>"));
  EXPECT_EQ("<div><map/></div>", SavedBody());
  // An anchor with text inside a list keeps the text under an empty name.
  ASSERT_CODE(KAV_OK, CleanBody("<ul><li>i</li><a href=\"#x\" class=\"c\">t</a></ul>"));
  xmlNode* renamed =
      ChildNamed(ChildNamed(ChildNamed(xmlDocGetRootElement(page_->Doc()), "body"), "ul"), "");
  ASSERT_NE(nullptr, renamed);
  EXPECT_EQ(nullptr, renamed->properties);
  EXPECT_EQ("t", InnerXml(renamed));
}

TEST_F(Repair, LocalFilesAreHandedOutDecodedNewestFirst) {
  for (const char* file : {"a.png", "c/d e.html"}) MakeSourceFile(file);
  ASSERT_CODE(KAV_OK,
              CleanBody("<p><img src=\"a.png\" alt=\"\"/><a href=\"c/d%20e.html\">d</a></p>"));
  EXPECT_EQ((std::vector<std::string>{"c/d e.html", "a.png"}), ExternSources());
  EXPECT_EQ(nullptr, page_->GetXhtmlExternSource());
}

}  // namespace
