#include <libxml/parserInternals.h>

#include <string>

#include "service/kav_result.h"
#include "support/test_support.h"
#include "xml/tree_depth.h"
#include "xml/xhtml1_strict_dtd.h"
#include "xml/xml_base.h"

namespace {

// The bound behind every repair walk: even when the host lets the parser go
// deeper, the cleaned tree keeps at most the bounded depth.
TEST(HtmlDepth, RaisedParserLimitStillGivesTheBoundedTree) {
  kavtest::TempDir dir;
  kavtest::WriteFile(dir / "strict.dtd", kXhtml1StrictDtd[0]);
  std::string html;
  for (int i = 0; i < 5000; ++i) html += "<div>";
  kavtest::WriteFile(dir / "deep.html", html + "deep");
  // The process-wide limit comes back however the test ends.
  struct LimitRestorer {
    unsigned int saved = xmlParserMaxDepth;
    ~LimitRestorer() { xmlParserMaxDepth = saved; }
  } restorer;
  for (unsigned int limit : {restorer.saved, 100000u}) {
    xmlParserMaxDepth = limit;
    XMLBase page;
    ASSERT_CODE(KAV_OK, page.Init());
    EXPECT_CODE(KAV_OK, page.HtmlProcess((dir / "deep.html").c_str(), dir.path().c_str(), "T",
                                         (dir / "strict.dtd").c_str()));
    EXPECT_CODE(KAV_OK, page.SaveFile((dir / "deep.xhtml").c_str()));
    // The parser's own limit keeps some 256 levels, the bound at most 512.
    const std::string savedPage = kavtest::ReadFile(dir / "deep.xhtml");
    size_t divs = 0;
    for (size_t at = 0; (at = savedPage.find("<div>", at)) != std::string::npos; ++at) ++divs;
    EXPECT_GE(static_cast<size_t>(kav_xml::kMaxTreeDepth), divs) << limit;
    EXPECT_LT(200u, divs) << limit;
  }
}

}  // namespace
