#include "platform/mobi/contained_references.h"

#include <gtest/gtest.h>
#include <libxml/HTMLparser.h>
#include <libxml/HTMLtree.h>

#include <string>
#include <utility>
#include <vector>

#include "platform/mobi/break_end_tags.h"
#include "platform/mobi/quiet_libxml2.h"
#include "platform/mobi/utf8_charset.h"

namespace {

using kavmobi::IsContainedReference;
using kavmobi::WithContainedReferences;
using kavmobi::WithoutBreakEndTags;

TEST(ContainedReferences, OnlyFragmentsUrlsAndBareNamesStay) {
  for (const char* kept : {"#filepos0000001126", "#", "resource00001.jpg", "http://a/../../b",
                           "mailto:x@y", "tmp.html"}) {
    EXPECT_TRUE(IsContainedReference(kept)) << kept;
  }
  for (const char* dropped : {"", "..", "../x.png", "a/../../x", "/etc/hostname", "..%2fx",
                              "%2e%2e", ".hidden", "a\\b"}) {
    EXPECT_FALSE(IsContainedReference(dropped)) << dropped;
  }
}

TEST(ContainedReferences, HtmlWithoutPathsIsUntouched) {
  const std::string html =
      "<html><body><p>Wait... then \"...\" <a href=\"#filepos12\">x</a>"
      "<img src=\"resource00001.jpg\"/></p></body></html>";
  EXPECT_EQ(WithContainedReferences(html), html);
}

TEST(ContainedReferences, EscapingReferencesAreRemovedHoweverWritten) {
  const std::string out = WithContainedReferences(
      "<html><body><p><img src=\"../../etc/hostname\"><a href=\"&#46;&#46;/x\">a</a>"
      "<IMG SRC=..%2fy><a href='#k'>k</a><img src=\"resource00002.png\">"
      "<link href=\"/etc/passwd\"></p></body></html>");
  for (const char* gone : {"etc", "&#46;", "%2f", "passwd"}) {
    EXPECT_EQ(out.find(gone), std::string::npos) << gone << " in " << out;
  }
  for (const char* kept : {"href=\"#k\"", "src=\"resource00002.png\"", ">a</a>"}) {
    EXPECT_NE(out.find(kept), std::string::npos) << kept << " not in " << out;
  }
}

TEST(ContainedReferences, PathsInProseLeaveOnlyContainedReferencesWhereverTheScanStops) {
  // Prose with "../" in it makes every reference checked; the plain scan
  // answers for plain markup, the parser for the rest.
  for (const char* tail :
       {"<img src=\"images/a.png\">", "<A HREF=../x>", "<a href>", "<a href='&#46;&#46;/x'>",
        "<!-- c --><img src=\"../x\">", "<p a=b\"c><img src=\"../x\">"}) {
    const std::string html =
        std::string("<html><body><p>cd ../up</p><a href=\"#k\">k</a>") + tail + "</body></html>";
    const std::string out = WithContainedReferences(html);
    EXPECT_NE(out, html) << tail;
    EXPECT_NE(out.find("href=\"#k\""), std::string::npos) << out;
    for (const char* gone : {"images", "../x", "&#46;"}) {
      EXPECT_EQ(out.find(gone), std::string::npos) << gone << " in " << out;
    }
  }
  const std::string contained =
      "<html><body><p>cd ../up</p><a HREF=#k>k</a><img src='00001.jpg' alt=\"../\"></body></html>";
  EXPECT_EQ(WithContainedReferences(contained), contained);
}

// The tree the importer's parse makes of html, written out.
std::string ParsedTree(const std::string& html) {
  kavmobi::QuietLibxml2 quiet;
  htmlDocPtr doc =
      htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, "UTF-8", 16485);
  if (doc == nullptr) return "(none)";
  xmlChar* out = nullptr;
  int size = 0;
  htmlDocDumpMemoryFormat(doc, &out, &size, 0);
  std::string tree(reinterpret_cast<const char*>(out), size);
  xmlFree(out);
  xmlFreeDoc(doc);
  return tree;
}

TEST(BreakEndTags, DroppedOnlyWhereTheParserReadsThemAsEndTagsSoTheTreeStaysTheSame) {
  const std::string meta = kavmobi::kUtf8Meta;
  // A page, and how many "</br>" it keeps: those in attribute values,
  // comments, scripts and everything after a construct the scan stops at.
  for (const auto& [html, kept] : std::vector<std::pair<std::string, int>>{
           {"<html><head>" + meta +
                "<title>T<br></br></title></head><body>"
                "<p a=\"x>y</br>\" b='</br>' c=d/e f>1<br></br>2<br/></br></p>"
                "<mbp:pagebreak/></br></p ></body></html>",
            2},
           {"<p>a<br></br><!-- <br></br> --><br></br></p>", 2},
           {"<p>a<br></br><script>x='<br></br>'</script></br></p>", 2},
           {"<p>a<br></br><STYLE>p{}</br></style></p>", 1},
           {"<p>a<br></br><?pi </br>?></br>", 2},
           {"<p>a<br></br><meta charset=\"utf-16\"></br>", 1},
           {"<p a=b\"c></br>", 1},
           {"<p a=\"b\"c=\"d\"></br>", 1},
           {"<p>1 < 2 </br>", 1},
           {"<p>\xC3\xA4</br>\xFF</br>", 2},
           {std::string("<p>\0</br>", 9), 1},
           {"<P CLASS = \"x\"></BR></br>", 0},
           {"\xEF\xBB\xBF </br>\n", 1},
           {"<p>\r\r</br>3<br></br> </br>", 2}}) {
    const std::string out = WithoutBreakEndTags(html);
    size_t count = 0;
    for (size_t at = out.find("</br>"); at != std::string::npos; at = out.find("</br>", at + 1))
      ++count;
    EXPECT_EQ(static_cast<size_t>(kept), count) << out;
    EXPECT_EQ(ParsedTree(html), ParsedTree(out)) << html;
  }
}

}  // namespace
