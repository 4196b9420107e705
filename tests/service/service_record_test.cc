#include "service/kav_epub.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

class ServiceRecordTest : public ::testing::Test {
 protected:
  ServiceRecordTest() { kavtest::WriteFile(html, "<html><body><p>Hi.</p></body></html>"); }
  ~ServiceRecordTest() override { FreeEpubService(s); }
  TEpubService* s = CreateEpubService();
  kavtest::TempDir tmp;
  std::string html = tmp / "page.html", work = tmp / "epub_temp";
};

TEST_F(ServiceRecordTest, PerBookEntriesCheckTheirHandleAndFreeingAnActiveRecordCleansUp) {
  for (TEpubData* d : {s->data, static_cast<TEpubData*>(nullptr)}) {
    EXPECT_EQ(std::vector<int>(6, KAV_ERR_NO_BUILDER),
              (std::vector<int>{s->StartPage(d), s->EndPage(d), s->AddTextLineToPage(d, "x\n"),
                                s->AddImageToPage(d, "/none.png"),
                                s->AddImageToEpub(d, "/none.png"), s->GenerateEpub(d, "")}));
    EXPECT_CODE(KAV_ERR_ARGUMENT, s->AddHtmlToEpub(d, html.c_str()));
    s->ClearUp(d);
  }
  // A failed Init leaves its builder in the cell: the builder answers next.
  EXPECT_CODE(KAV_ERR_MISSING, s->InitEpub(s->data, (tmp / "none").c_str(), "T", "A"));
  EXPECT_CODE(KAV_ERR_ARGUMENT, s->GenerateEpub(s->data, ""));
  s->ClearUp(s->data);
  ASSERT_CODE(KAV_OK, s->InitEpub(s->data, tmp.path().c_str(), "T", "A"));
  EXPECT_CODE(KAV_ERR_ARGUMENT, s->AddHtmlToEpub(s->data, "/none.html"));  // path first
  EXPECT_CODE(KAV_ERR_MISSING, s->AddImageToEpub(s->data, "/none.png"));   // the builder's code
  EXPECT_CODE(KAV_OK, s->AddHtmlToEpub(s->data, html.c_str()));
  EXPECT_CODE(KAV_OK, s->GenerateEpub(s->data, (tmp / "b.epub").c_str()));
  s->ClearUp(s->data);
  EXPECT_FALSE(kavtest::Exists(work));
  EXPECT_CODE(KAV_ERR_NO_BUILDER, s->StartPage(s->data));
  ASSERT_CODE(KAV_OK, s->InitEpub(s->data, tmp.path().c_str(), "T", "A"));
  ASSERT_TRUE(kavtest::IsDir(work));
  FreeEpubService(std::exchange(s, nullptr));
  EXPECT_FALSE(kavtest::Exists(work));
}

TEST_F(ServiceRecordTest, Txt2EpubChecksPathsThenConvertsAndCleansUp) {
  const std::string txt = tmp / "a.txt", epub = tmp / "b.epub", none = tmp / "none";
  const char *t = txt.c_str(), *e = epub.c_str(), *w = tmp.path().c_str();
  kavtest::WriteFile(txt, "One line.\n");
  const char* bad[][3] = {{nullptr, e, w}, {"", e, w},           {t, nullptr, w},
                          {t, "", w},      {t, e, none.c_str()}, {t, e, nullptr}};
  for (const auto& a : bad)
    EXPECT_CODE(KAV_ERR_ARGUMENT, s->Txt2Epub(a[0], a[1], a[2], "", "", nullptr, nullptr));
  // The converter's working files go, whatever it returned.
  EXPECT_CODE(KAV_ERR_OPEN, s->Txt2Epub(none.c_str(), e, w, "", "", nullptr, nullptr));
  EXPECT_EQ((std::vector<std::string>{"a.txt", "page.html"}), kavtest::ListFiles(w));
  // Title and author are not used; a stale scratch directory goes too.
  kavtest::MakeDirs(tmp / "process_tmp");
  ASSERT_CODE(KAV_OK, s->Txt2Epub(t, e, w, "Zanzibar", "Quixote", nullptr, nullptr));
  EXPECT_EQ((std::vector<std::string>{"a.txt", "b.epub", "page.html"}), kavtest::ListFiles(w));
  EXPECT_FALSE(kavtest::Exists(tmp / "process_tmp"));
  std::string packed;
  for (const auto& entry : kavtest::ReadZip(epub)) packed += entry.data;
  for (const char* word : {"Zanzibar", "Quixote"}) EXPECT_EQ(std::string::npos, packed.find(word));
}

}  // namespace
