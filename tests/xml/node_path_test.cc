#include <string>

#include "parsed_xml.h"
#include "support/test_support.h"

namespace {

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
  for (const auto& c : cases) EXPECT_EQ(c[1], Id(xml.FindNode(xml.Root(), c[0]))) << c[0];
  EXPECT_EQ(nullptr, xml.FindNode(nullptr, "tr"));
  // Through the lookup rule only an indexed path takes the first match.
  EXPECT_CODE(0, xml.SetNodeAttribute("tr", "id", "newest"));
  EXPECT_CODE(0, xml.SetNodeAttribute("tr-1", "id", "first"));
  EXPECT_EQ("newest", Id(xml.FindNode(xml.Root(), "tr-3")));
  EXPECT_EQ("first", Id(xml.FindNode(xml.Root(), "tr")));
}

TEST(NodePath, FindLastNodeTakesTheNewestMatchOrAShortcutFromTheLastFound) {
  const char* const cases[][2] = {{"tr", "r3"},     {"tr/td", "c3"}, {"table/tr\\td", "c3"},
                                  {"tr\\td", "c3"}, {"div/p", "p1"}, {"p", "p2"},
                                  {"nope", "null"}};
  for (const auto& c : cases) {
    ParsedXml fresh(kTable);  // no earlier answer to start from
    EXPECT_EQ(c[1], Id(fresh.FindLastNode(fresh.Root(), c[0]))) << c[0];
  }
  ParsedXml xml(kTable);
  xmlNode* div = xml.FindNode(xml.Root(), "div");
  EXPECT_EQ("c2a", Id(xml.FindLastNode(xml.FindNode(xml.Root(), "tr-2/td"), "td")));
  EXPECT_EQ("c2b", Id(xml.FindLastNode(xml.Root(), "td")));  // next sibling, not the newest
  EXPECT_EQ("c2b", Id(xml.FindLastNode(xml.Root(), "td")));  // itself
  EXPECT_EQ("r2", Id(xml.FindLastNode(xml.Root(), "tr")));   // its parent
  EXPECT_EQ("r3", Id(xml.FindLastNode(div, "tr")));          // outside the subtree of div
  EXPECT_EQ("p1", Id(xml.FindLastNode(div, "p")));           // no shortcut fits
  // A next sibling of another name sends the search from the start at once.
  EXPECT_EQ("p2", Id(xml.FindLastNode(xml.Root(), "p")));
}

TEST(NodePath, AMissingOccurrenceAmongManySiblingsIsFoundMissingInOnePass) {
  std::string rows;
  for (int i = 1; i <= 60; ++i) rows += "<tr id='r" + std::to_string(i) + "'><td/><td/></tr>";
  ParsedXml xml("<table>" + rows + "</table>");
  EXPECT_EQ("r60", Id(xml.FindNode(xml.Root(), "tr-60")));
  EXPECT_EQ("null", Id(xml.FindNode(xml.Root(), "tr-61")));
  EXPECT_EQ("null", Id(xml.FindNode(xml.Root(), "tr-30/td-3")));
}

}  // namespace
