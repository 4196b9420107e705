// A text book made page by page through the C record passes epubcheck. (The
// builder's own tests check its pages and documents; the one-call text
// conversion is checked in cli_test.)

#include <string>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "support/test_support.h"

namespace {

TEST(TextBook, PageByPageBookThroughTheRecordPassesEpubcheck) {
  kavtest::TempDir dir;
  const std::string work = dir / "work", epub = dir / "book.epub";
  kavtest::MakeDirs(work);
  TEpubService* service = CreateEpubService();
  TEpubData* data = service->data;
  ASSERT_CODE(0, service->InitEpub(data, work.c_str(), "Tom & Jerry <Tales>", "A. Writer"));
  for (int page = 0; page < 2; ++page) {
    ASSERT_CODE(0, service->StartPage(data));
    for (const char* line :
         {"  First paragraph & more <text>\n", "continues here.\n", "  Second paragraph.\n"}) {
      ASSERT_CODE(0, service->AddTextLineToPage(data, line));
    }
    ASSERT_CODE(0, service->EndPage(data));
  }
  ASSERT_CODE(0, service->GenerateEpub(data, epub.c_str()));
  service->ClearUp(data);
  FreeEpubService(service);
  EXPECT_FALSE(kavtest::Exists(work + "/epub_temp")) << "ClearUp removes the working files";
  auto book = kave2e::ReadBook(epub);
  EXPECT_EQ((kave2e::Strings{"Tom & Jerry <Tales>", "A. Writer"}),
            kave2e::XPathTexts(book["OEBPS/content.opf"].data, "//dc:title | //dc:creator"));
  EXPECT_EQ(1u, book.count("OEBPS/page-2.html"));
  kave2e::ExpectOnlyFindings(epub, kave2e::kUsualFindings);
}

}  // namespace
