#include "book_test.h"
#include "service/kav_result.h"

namespace {

using buildertest::BookTest;
using buildertest::Strings;
using kavtest::Exists;
using kavtest::ReadFile;
using kavtest::TempDir;

TEST(WorkspaceTest, Init_MissingRootReturns402AndMakesNothing) {
  TempDir dir;
  const std::string absent = dir / "absent";
  bool hadRelativeWorkDir = Exists("epub_temp");
  for (const char* root : {absent.c_str(), "", static_cast<const char*>(nullptr)}) {
    EpubBase book;
    EXPECT_CODE(KAV_ERR_MISSING, book.Init(root, "T", "A"));
    EXPECT_CODE(KAV_ERR_NO_PAGE, book.GenerateEpub((dir / "out.epub").c_str()));
  }
  EXPECT_TRUE(kavtest::ListFiles(dir.path()).empty());
  EXPECT_EQ(hadRelativeWorkDir, Exists("epub_temp"));
}

TEST(WorkspaceTest, Init_SameTreeWithOrWithoutTrailingSlashAndStaleFilesWiped) {
  for (const char* suffix : {"", "/"}) {
    TempDir dir;
    kavtest::MakeDirs(dir / "epub_temp/old");
    kavtest::WriteFile(dir / "epub_temp/old/page-9.html", "stale");
    EpubBase book;
    ASSERT_CODE(0, book.Init((dir.path() + suffix).c_str(), "T", "A"));
    EXPECT_EQ((Strings{"epub_temp/epub/META-INF/container.xml", "epub_temp/epub/OEBPS/main.css",
                       "epub_temp/epub/mimetype", "epub_temp/xhtml1-strict.dtd"}),
              kavtest::ListFiles(dir.path()));
    EXPECT_TRUE(kavtest::IsDir(dir / "epub_temp/epub/OEBPS/images"));
    EXPECT_CODE(0, book.ClearData());
    EXPECT_FALSE(Exists(dir / "epub_temp"));
    EXPECT_CODE(KAV_ERR_FAILED, book.ClearData());
    book.Destory();
    book.Destory();
  }
}

TEST_F(BookTest, Init_WritesTheFixedFilesAndListsTheStyleSheet) {
  EXPECT_EQ("application/epub+zip", ReadFile(root / "epub_temp/epub/mimetype"));
  EXPECT_EQ(kXhtml1StrictDtd[0], ReadFile(root / "epub_temp/xhtml1-strict.dtd"));
  // Typed out independently of the fragment table.
  EXPECT_EQ(
      "body {\n display: block;\n font-size: 1em;\n margin-bottom: 0;\nmargin-left: 5pt;\n"
      "margin-right: 5pt;\nmargin-top: 0;\npadding-left: 0;\npadding-right: 0\n}\np.text {\n"
      "display: block;\ntext-indent: 1em;\nmargin-bottom:1em;\nmargin-left: 0;\nmargin-right: "
      "0;\nmargin-top: 1em;\n}\ndiv.div1 {\nwidth: 100%\n}\nimg.img1 {\nwidth: 100%\n}\n",
      ReadFile(Oebps("main.css")));
  EXPECT_STREQ("###", kCssRes[22]);

  EXPECT_CODE(KAV_ERR_ARGUMENT, book.GenerateEpub(""));
  EXPECT_CODE(KAV_ERR_ARGUMENT, book.GenerateEpub(nullptr));
  EXPECT_FALSE(Exists(Oebps("content.opf")));
  Save();
  EXPECT_EQ((Strings{"toc.ncx|application/x-dtbncx+xml", "main.css|text/css"}), Manifest());
}

TEST_F(BookTest, GenerateEpub_PackingTwiceGivesTheSameBook) {
  ASSERT_CODE(0, book.StartPage());
  ASSERT_CODE(0, book.EndPage());
  std::vector<kavtest::ZipEntry> books[2];
  for (auto& entries : books) {
    ASSERT_CODE(0, book.GenerateEpub((root / "book.epub").c_str()));
    entries = kavtest::ReadZip(root / "book.epub");
  }
  ASSERT_EQ(6u, books[0].size());
  EXPECT_EQ("mimetype", books[0][0].name);
  for (size_t i = 0; i < books[0].size() && i < books[1].size(); ++i) {
    EXPECT_EQ(books[0][i].name, books[1][i].name);
    EXPECT_EQ(books[0][i].data, books[1][i].data);
  }
  EXPECT_TRUE(Exists(root / "epub_temp/xhtml1-strict.dtd"));  // the workspace stays
}

}  // namespace
