#include "xml/xhtml1_strict_dtd.h"

#include <libxml/parser.h>
#include <libxml/valid.h>

#include <string>

#include "support/test_support.h"

namespace {

size_t Count(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(Xhtml1StrictDtd, IsOneLineOfDeclarationsThatLibxmlParses) {
  ASSERT_EQ(nullptr, kXhtml1StrictDtd[1]);
  const std::string text = kXhtml1StrictDtd[0];
  EXPECT_EQ(0u, text.find("<!ENTITY % ContentType \"CDATA\">"));
  EXPECT_EQ(std::string::npos, text.find("<!--"));
  EXPECT_EQ(std::string::npos, text.find_first_of("\r\n"));
  EXPECT_EQ(51u, Count(text, "<!ENTITY % "));
  EXPECT_EQ(51u, Count(text, "<!ENTITY"));  // so no general entity
  EXPECT_EQ(77u, Count(text, "<!ELEMENT "));
  EXPECT_EQ(77u, Count(text, "<!ATTLIST "));
  // Nothing between declarations; continuation lines keep their indent.
  EXPECT_EQ(std::string::npos, text.find("> "));
  EXPECT_NE(std::string::npos, text.find("<!ATTLIST html  %i18n;  id"));

  kavtest::TempDir dir;
  kavtest::WriteFile(dir / "strict.dtd", kXhtml1StrictDtd[0]);
  xmlDtd* dtd = xmlParseDTD(nullptr, BAD_CAST(dir / "strict.dtd").c_str());
  ASSERT_NE(nullptr, dtd);
  EXPECT_NE(nullptr, xmlGetDtdElementDesc(dtd, BAD_CAST "bdo"));
  xmlAttribute* xmlns = xmlGetDtdAttrDesc(dtd, BAD_CAST "html", BAD_CAST "xmlns");
  ASSERT_NE(nullptr, xmlns);
  EXPECT_EQ(XML_ATTRIBUTE_FIXED, xmlns->def);
  EXPECT_STREQ("http://www.w3.org/1999/xhtml", reinterpret_cast<const char*>(xmlns->defaultValue));
  EXPECT_EQ(nullptr, dtd->entities);
  xmlFreeDtd(dtd);
}

}  // namespace
