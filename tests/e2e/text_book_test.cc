// Text books made through the C record, read back as a reader would.

#include <set>
#include <string>
#include <vector>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "support/test_support.h"

namespace {

using kavtest::TempDir;

class TextBook : public ::testing::Test {
 protected:
  void SetUp() override { service_ = CreateEpubService(); ASSERT_NE(nullptr, service_); }
  void TearDown() override { FreeEpubService(service_); }
  TEpubService* service_ = nullptr;
  TempDir dir_;
};

TEST_F(TextBook, PageByPageBookHasTheOcfLayoutAndPassesEpubcheck) {
  std::string work = dir_ / "work", epub = dir_ / "book.epub";
  kavtest::MakeDirs(work);
  TEpubData* data = service_->data;
  ASSERT_CODE(0, service_->InitEpub(data, work.c_str(), "Tom & Jerry <Tales>", "A. Writer"));
  for (int page = 0; page < 2; ++page) {
    ASSERT_CODE(0, service_->StartPage(data));
    ASSERT_CODE(0, service_->AddTextLineToPage(data, "  First paragraph & more <text>\n"));
    ASSERT_CODE(0, service_->AddTextLineToPage(data, "continues here.\n"));
    ASSERT_CODE(0, service_->AddTextLineToPage(data, "  Second paragraph.\n"));
    ASSERT_CODE(0, service_->EndPage(data));
  }
  ASSERT_CODE(0, service_->GenerateEpub(data, epub.c_str()));
  service_->ClearUp(data);
  EXPECT_FALSE(kavtest::Exists(work + "/epub_temp")) << "ClearUp removes the working files";

  std::vector<kavtest::ZipEntry> entries = kavtest::ReadZip(epub);
  ASSERT_FALSE(entries.empty());
  EXPECT_EQ("mimetype", entries[0].name);
  EXPECT_TRUE(entries[0].stored);
  EXPECT_EQ("application/epub+zip", entries[0].data);
  // OCF readers look for the media type at a fixed offset.
  EXPECT_EQ("mimetypeapplication/epub+zip", kavtest::ReadFile(epub).substr(30, 28));
  std::set<std::string> names;
  for (const auto& e : entries) names.insert(e.name);
  EXPECT_EQ((std::set<std::string>{"mimetype", "META-INF/container.xml", "OEBPS/content.opf",
                                   "OEBPS/toc.ncx", "OEBPS/main.css", "OEBPS/page-1.html",
                                   "OEBPS/page-2.html"}),
            names);

  auto byName = kave2e::EntriesByName(entries);
  const std::string& opf = byName["OEBPS/content.opf"].data;
  EXPECT_EQ((std::vector<std::string>{"Tom & Jerry <Tales>"}),
            kave2e::XPathTexts(opf, "//dc:title"));
  EXPECT_EQ((std::vector<std::string>{"A. Writer"}), kave2e::XPathTexts(opf, "//dc:creator"));
  EXPECT_EQ((std::vector<std::string>{"main.css", "page-1.html", "page-2.html"}),
            kave2e::XPathTexts(opf, "//opf:item[starts-with(@id,'rc_')]/@href"));
  EXPECT_EQ((std::vector<std::string>{"page-1.html", "page-2.html"}),
            kave2e::XPathTexts(byName["OEBPS/toc.ncx"].data, "//ncx:content/@src"));
  EXPECT_EQ((std::vector<std::string>{"", "  First paragraph & more <text> continues here. ",
                                      "  Second paragraph. "}),
            kave2e::XPathTexts(byName["OEBPS/page-2.html"].data, "//x:p"));

  kave2e::ExpectOnlyFindings(epub, {"HTM-004", "RSC-005", "NCX-001", "OPF-085"});
}

int CountCalls(void* user, int, int) {
  ++*static_cast<int*>(user);
  return 0;
}

TEST_F(TextBook, WholeTextFileConvertsWithEmptyTitleAndRemovesItsWorkingFiles) {
  std::string work = dir_ / "work", epub = dir_ / "sample.epub";
  kavtest::MakeDirs(work);
  int calls = 0;
  std::string sample = kavtest::SourcePath("samples/the-clockmakers-apprentice.txt");
  ASSERT_CODE(0, service_->Txt2Epub(sample.c_str(), epub.c_str(), work.c_str(), "Ignored",
                                    "Ignored", &calls, CountCalls));
  EXPECT_EQ(3, calls) << "two pages started and the finished book";
  EXPECT_TRUE(kavtest::ListFiles(work).empty()) << "the working directory is left empty";
  auto byName = kave2e::EntriesByName(kavtest::ReadZip(epub));
  EXPECT_EQ((std::vector<std::string>{""}),
            kave2e::XPathTexts(byName["OEBPS/content.opf"].data, "//dc:title"));
  EXPECT_EQ(1u, byName.count("OEBPS/page-2.html"));
  EXPECT_EQ(0u, byName.count("OEBPS/page-3.html"));
  kave2e::ExpectOnlyFindings(epub, {"HTM-004", "RSC-005", "NCX-001", "OPF-085", "OPF-055"});
}

int CancelAtOnce(void*, int, int) { return -2; }

TEST_F(TextBook, FailingOrCancelledConversionLeavesNoBookAndNoWorkingFiles) {
  std::string work = dir_ / "work", epub = dir_ / "book.epub";
  kavtest::MakeDirs(work);
  std::string sample = kavtest::SourcePath("samples/the-clockmakers-apprentice.txt");
  EXPECT_CODE(404, service_->Txt2Epub((dir_ / "missing.txt").c_str(), epub.c_str(), work.c_str(),
                                      "", "", nullptr, CountCalls));
  EXPECT_CODE(412, service_->Txt2Epub(sample.c_str(), (dir_ / "no/dir/book.epub").c_str(),
                                      work.c_str(), "", "", nullptr, CountCalls));
  EXPECT_CODE(0, service_->Txt2Epub(sample.c_str(), epub.c_str(), work.c_str(), "", "", nullptr,
                                    CancelAtOnce));
  EXPECT_FALSE(kavtest::Exists(epub));
  EXPECT_TRUE(kavtest::ListFiles(work).empty());
  EXPECT_FALSE(kavtest::Exists(work + "/epub_temp"));
}

}  // namespace
