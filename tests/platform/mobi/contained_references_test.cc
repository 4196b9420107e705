#include "platform/mobi/contained_references.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using kavmobi::IsContainedReference;
using kavmobi::WithContainedReferences;

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

}  // namespace
