// Text books made through the C record, read back as a reader would.

#include <set>
#include <string>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "support/test_support.h"

namespace {

using kave2e::Strings;
using kave2e::XPathTexts;

int CountCalls(void* user, int, int) {
  ++*static_cast<int*>(user);
  return 0;
}
int CancelAtOnce(void*, int, int) { return -2; }

class TextBook : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(nullptr, service_ = CreateEpubService());
    kavtest::MakeDirs(work_);
  }
  void TearDown() override { FreeEpubService(service_); }
  int Txt2Epub(const std::string& txt, const std::string& epub, void* user,
               int (*progress)(void*, int, int), const char* title = "") {
    return service_->Txt2Epub(txt.c_str(), epub.c_str(), work_.c_str(), title, title, user,
                              progress);
  }
  TEpubService* service_ = nullptr;
  kavtest::TempDir dir_;
  std::string work_ = dir_ / "work", epub_ = dir_ / "book.epub";
  std::string sample_ = kavtest::SourcePath("samples/the-clockmakers-apprentice.txt");
};

TEST_F(TextBook, PageByPageBookHasTheOcfLayoutAndPassesEpubcheck) {
  TEpubData* data = service_->data;
  ASSERT_CODE(0, service_->InitEpub(data, work_.c_str(), "Tom & Jerry <Tales>", "A. Writer"));
  for (int page = 0; page < 2; ++page) {
    ASSERT_CODE(0, service_->StartPage(data));
    for (const char* line :
         {"  First paragraph & more <text>\n", "continues here.\n", "  Second paragraph.\n"}) {
      ASSERT_CODE(0, service_->AddTextLineToPage(data, line));
    }
    ASSERT_CODE(0, service_->EndPage(data));
  }
  ASSERT_CODE(0, service_->GenerateEpub(data, epub_.c_str()));
  service_->ClearUp(data);
  EXPECT_FALSE(kavtest::Exists(work_ + "/epub_temp")) << "ClearUp removes the working files";

  std::vector<kavtest::ZipEntry> entries = kavtest::ReadZip(epub_);
  ASSERT_FALSE(entries.empty());
  EXPECT_EQ("mimetype stored application/epub+zip",
            entries[0].name + (entries[0].stored ? " stored " : " ") + entries[0].data);
  // OCF readers look for the media type at a fixed offset.
  EXPECT_EQ("mimetypeapplication/epub+zip", kavtest::ReadFile(epub_).substr(30, 28));
  std::set<std::string> names;
  for (const auto& e : entries) names.insert(e.name);
  EXPECT_EQ((std::set<std::string>{"mimetype", "META-INF/container.xml", "OEBPS/content.opf",
                                   "OEBPS/toc.ncx", "OEBPS/main.css", "OEBPS/page-1.html",
                                   "OEBPS/page-2.html"}),
            names);

  auto book = kave2e::ReadBook(epub_);
  const std::string& opf = book["OEBPS/content.opf"].data;
  EXPECT_EQ((Strings{"Tom & Jerry <Tales>"}), XPathTexts(opf, "//dc:title"));
  EXPECT_EQ((Strings{"A. Writer"}), XPathTexts(opf, "//dc:creator"));
  EXPECT_EQ((Strings{"main.css", "page-1.html", "page-2.html"}),
            XPathTexts(opf, "//opf:item[starts-with(@id,'rc_')]/@href"));
  EXPECT_EQ((Strings{"page-1.html", "page-2.html"}),
            XPathTexts(book["OEBPS/toc.ncx"].data, "//ncx:content/@src"));
  EXPECT_EQ(
      (Strings{"", "  First paragraph & more <text> continues here. ", "  Second paragraph. "}),
      XPathTexts(book["OEBPS/page-2.html"].data, "//x:p"));
  kave2e::ExpectOnlyFindings(epub_, kave2e::kUsualFindings);
}

TEST_F(TextBook, WholeTextFileConvertsWithEmptyTitleAndRemovesItsWorkingFiles) {
  int calls = 0;
  ASSERT_CODE(0, Txt2Epub(sample_, epub_, &calls, CountCalls, "Ignored"));
  EXPECT_EQ(3, calls) << "two pages started and the finished book";
  EXPECT_TRUE(kavtest::ListFiles(work_).empty());
  auto book = kave2e::ReadBook(epub_);
  EXPECT_EQ((Strings{""}), XPathTexts(book["OEBPS/content.opf"].data, "//dc:title"));
  EXPECT_EQ(1u, book.count("OEBPS/page-2.html"));
  EXPECT_EQ(0u, book.count("OEBPS/page-3.html"));
  Strings findings = kave2e::kUsualFindings;
  findings.push_back("OPF-055");
  kave2e::ExpectOnlyFindings(epub_, findings);
}

TEST_F(TextBook, FailingOrCancelledConversionLeavesNoBookAndNoWorkingFiles) {
  EXPECT_CODE(404, Txt2Epub(dir_ / "missing.txt", epub_, nullptr, CountCalls));
  EXPECT_CODE(412, Txt2Epub(sample_, dir_ / "no/dir/book.epub", nullptr, CountCalls));
  EXPECT_CODE(0, Txt2Epub(sample_, epub_, nullptr, CancelAtOnce));
  EXPECT_FALSE(kavtest::Exists(epub_));
  EXPECT_TRUE(kavtest::ListFiles(work_).empty());
  EXPECT_FALSE(kavtest::Exists(work_ + "/epub_temp"));
}

}  // namespace
