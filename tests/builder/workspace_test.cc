#include "book_test.h"

namespace buildertest {

TEST(WorkspaceTest, Init_MissingRootReturns402AndMakesNothing) {
  kavtest::TempDir dir;
  const std::string absent = dir / "absent";
  const bool hadRelativeWorkDir = kavtest::Exists("epub_temp");
  for (const char* root : {absent.c_str(), "", static_cast<const char*>(nullptr)}) {
    EpubBase book;
    EXPECT_CODE(KAV_ERR_MISSING, book.Init(root, "T", "A"));
    EXPECT_CODE(KAV_ERR_NO_PAGE, book.GenerateEpub((dir / "out.epub").c_str()));
    EXPECT_CODE(0, book.AppendPropToCSS(".a{x:1}"));  // no style sheet: silently nothing
  }
  EXPECT_TRUE(kavtest::ListFiles(dir.path()).empty());
  EXPECT_EQ(hadRelativeWorkDir, kavtest::Exists("epub_temp"));
}

TEST(WorkspaceTest, Init_WipesAndLaysOutTheSameTreeWithOrWithoutTrailingSlash) {
  for (const char* suffix : {"", "/"}) {
    kavtest::TempDir dir;
    const std::string work = dir / "epub_temp/";
    kavtest::MakeDirs(work + "old");
    kavtest::WriteFile(work + "old/page-9.html", "stale");
    EpubBase book;
    ASSERT_CODE(0, book.Init((dir.path() + suffix).c_str(), "T", "A"));
    EXPECT_EQ((Strings{"epub_temp/epub/META-INF/container.xml", "epub_temp/epub/OEBPS/main.css",
                       "epub_temp/epub/mimetype", "epub_temp/xhtml1-strict.dtd"}),
              kavtest::ListFiles(dir.path()));
    EXPECT_EQ(kXhtml1StrictDtd[0], kavtest::ReadFile(work + "xhtml1-strict.dtd"));
    EXPECT_CODE(0, book.AppendPropToCSS(nullptr));
    EXPECT_CODE(0, book.AppendPropToCSS(".a{x:1}"));
    // Typed out independently of the fragment table.
    EXPECT_EQ(
        "body {\n display: block;\n font-size: 1em;\n margin-bottom: 0;\nmargin-left: 5pt;\n"
        "margin-right: 5pt;\nmargin-top: 0;\npadding-left: 0;\npadding-right: 0\n}\np.text {\n"
        "display: block;\ntext-indent: 1em;\nmargin-bottom:1em;\nmargin-left: 0;\nmargin-right: "
        "0;\nmargin-top: 1em;\n}\ndiv.div1 {\nwidth: 100%\n}\nimg.img1 {\nwidth: 100%\n}\n.a{x:1}",
        kavtest::ReadFile(work + "epub/OEBPS/main.css"));
    EXPECT_CODE(0, book.ClearData());
    EXPECT_FALSE(kavtest::Exists(work));
    EXPECT_CODE(KAV_ERR_FAILED, book.ClearData());
    book.Destory();
    book.Destory();
  }
}

TEST_F(BookTest, GenerateEpub_NeedsAPathAndPacksTheSameBookEachTime) {
  EXPECT_CODE(KAV_ERR_ARGUMENT, book.GenerateEpub(""));
  EXPECT_CODE(KAV_ERR_ARGUMENT, book.GenerateEpub(nullptr));
  EXPECT_FALSE(kavtest::Exists(Oebps("content.opf")));
  Strings packed[2];
  for (Strings& out : packed) {
    Save();  // the workspace outlives each packing
    for (const auto& e : kavtest::ReadZip(root / "book.epub")) out.push_back(e.name + ":" + e.data);
  }
  EXPECT_EQ(packed[0], packed[1]);
  ASSERT_EQ(5u, packed[0].size());  // mimetype, container, package, style sheet, navigation
  EXPECT_EQ("mimetype:application/epub+zip", packed[0][0]);
}

}  // namespace buildertest
