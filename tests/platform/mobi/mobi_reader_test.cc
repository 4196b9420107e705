#include <gtest/gtest.h>
#include <stdlib.h>

#include <map>
#include <optional>

#include "platform/mobi/kav_mobi.h"
#include "support/test_support.h"

namespace {

const std::string kBooks = "tests/data/mobi/";

std::optional<std::string> Take(char* text) {
  std::optional<std::string> copy;
  if (text != nullptr) copy = text;
  free(text);
  return copy;
}

// One reader record, closed and freed however the test ends.
struct Reader {
  TMobiService* s = CreateMobiService();
  ~Reader() {
    s->Close(s->handle);
    FreeMobiService(s);
  }
  int Open(const std::string& path) { return s->Open(s->handle, path.c_str()); }
  int Extract(const std::string& html) { return s->ExtractHtml(s->handle, html.c_str()); }
  std::optional<std::string> Title() { return Take(s->GetTitle(s->handle)); }
  std::optional<std::string> Author() { return Take(s->GetAuthor(s->handle)); }
  std::optional<std::string> Cover() { return Take(s->GetCoverImage(s->handle)); }
};

TEST(MobiReader, InvalidBooksFailWithTheirCodeAndWriteNothing) {
  const std::map<std::string, int> expected = {{"drm_lantern_mobi6.mobi", KAV_MOBI_ERR_ENCRYPTED},
                                               {"empty.mobi", KAV_MOBI_ERR_DAMAGED},
                                               {"not_a_mobi.mobi", KAV_MOBI_ERR_DAMAGED},
                                               {"truncated_lantern_kf8.mobi", KAV_MOBI_ERR_DAMAGED},
                                               {"no-text_lantern_kf8.mobi", KAV_MOBI_ERR_NO_TEXT},
                                               {"missing.mobi", KAV_MOBI_ERR_NOT_FOUND},
                                               {"", KAV_MOBI_ERR_NOT_FOUND}};  // the directory
  for (const auto& [name, code] : expected) {
    SCOPED_TRACE(name);
    kavtest::TempDir dir;
    Reader reader;
    EXPECT_CODE(code, reader.Open(kBooks + "invalid/" + name));
    EXPECT_CODE(KAV_MOBI_ERR_NOT_OPEN, reader.Extract(dir / "tmp.html"));
    EXPECT_FALSE(reader.Title() || reader.Author() || reader.Cover());
    EXPECT_TRUE(kavtest::ListFiles(dir.path()).empty());
  }
}

TEST(MobiReader, ArgumentsAndLifecycleAreChecked) {
  kavtest::TempDir dir;
  Reader reader;
  EXPECT_CODE(KAV_MOBI_ERR_NOT_OPEN, reader.Extract(dir / "tmp.html"));
  EXPECT_CODE(KAV_MOBI_ERR_ARGUMENT, reader.s->Open(reader.s->handle, nullptr));
  EXPECT_CODE(KAV_MOBI_ERR_ARGUMENT, reader.Open(""));
  ASSERT_CODE(0, reader.Open(kBooks + "lantern_kf8.mobi"));
  EXPECT_CODE(KAV_MOBI_ERR_ARGUMENT, reader.s->ExtractHtml(reader.s->handle, nullptr));
  EXPECT_CODE(KAV_MOBI_ERR_WRITE, reader.Extract(dir / "missing/tmp.html"));
  // The HTML goes last and through a temporary name: a path it cannot take
  // fails after the pictures, and leaves no half-written file behind.
  kavtest::MakeDirs(dir / "tmp.html");
  EXPECT_CODE(KAV_MOBI_ERR_WRITE, reader.Extract(dir / "tmp.html"));
  EXPECT_TRUE(kavtest::IsDir(dir / "tmp.html"));
  for (const std::string& file : kavtest::ListFiles(dir.path()))
    EXPECT_EQ(0u, file.find("resource")) << file;
  // A failed Open leaves no book behind; Close may come twice.
  EXPECT_CODE(KAV_MOBI_ERR_DAMAGED, reader.Open(kBooks + "invalid/empty.mobi"));
  EXPECT_CODE(KAV_MOBI_ERR_NOT_OPEN, reader.Extract(dir / "other.html"));
  reader.s->Close(reader.s->handle);
}

// Damaged books are the fuzzer's concern. A header flag that is no UTF-8
// makes libxml2, under libmobi, complain: nothing may be printed.
TEST(MobiReader, BookWithAnOddEncodingFlagConvertsQuietly) {
  std::string flagged = kavtest::ReadFile(kBooks + "lantern_mobi6.mobi");
  ASSERT_NE(std::string::npos, flagged.find("\x0ctrue")) << "fixtures missing";
  flagged.replace(flagged.find("\x0ctrue") + 1, 1, "\xbb");
  kavtest::TempDir dir;
  kavtest::WriteFile(dir / "flagged.mobi", flagged);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  Reader reader;
  EXPECT_CODE(0, reader.Open(dir / "flagged.mobi"));
  EXPECT_CODE(0, reader.Extract(dir / "tmp.html"));
  EXPECT_EQ("", testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr());
}

}  // namespace
