// With SOURCE_DATE_EPOCH set the same input makes the same book, byte for
// byte, whenever and in whatever time zone it is made.

#include <unistd.h>

#include <string>

#include "e2e/book_checks.h"

namespace {

// A text book through the one-call conversion and a picture book built page
// by page, both made in dir (each with a working directory of its own).
void MakeBooks(const kavtest::TempDir& dir, const std::string& text, const std::string& picture) {
  TEpubService* service = CreateEpubService();
  kavtest::MakeDirs(dir / "work1");
  EXPECT_CODE(0, service->Txt2Epub(text.c_str(), (dir / "text.epub").c_str(),
                                   (dir / "work1").c_str(), "", "", nullptr, nullptr));
  FreeEpubService(service);
  EXPECT_CODE(
      0, kave2e::MakeBook(dir / "work2", dir / "picture.epub", [&](TEpubService* s, TEpubData* d) {
        int rc = s->StartPage(d);
        rc = rc ? rc : s->AddImageToPage(d, picture.c_str());
        rc = rc ? rc : s->EndPage(d);
        return rc ? rc : s->AddImageToEpub(d, picture.c_str());
      }));
}

TEST(ReproducibleBook, SameEpochMakesIdenticalBooksAtAnotherTimeAndZone) {
  kavtest::TempDir inputs, first, second;
  const std::string text = inputs / "book.txt", picture = inputs / "picture.png";
  std::string lines;
  for (int i = 0; i < 150; ++i) lines += "Line " + std::to_string(i) + " of the book.\n";
  kavtest::WriteFile(text, lines);
  kavtest::WriteFile(picture, "\x89PNG not really a picture");

  kavtest::ScopedEnv epoch("SOURCE_DATE_EPOCH", "1700000000");  // even: ZIP counts 2 s
  {
    kavtest::ScopedEnv zone("TZ", "UTC0");
    MakeBooks(first, text, picture);
  }
  sleep(2);  // the clock, the files' times and the ZIP time all move on
  kavtest::ScopedEnv zone("TZ", "UTC-9");
  MakeBooks(second, text, picture);
  for (const char* name : {"text.epub", "picture.epub"}) {
    const std::string book = kavtest::ReadFile(first / name);
    ASSERT_GT(book.size(), 100u) << name;
    EXPECT_TRUE(book == kavtest::ReadFile(second / name)) << name << " differs";
    // The epoch is the time of the book, 2023-11-14 22:13:20 UTC: in the
    // identifier, and as DOS time and date in the first entry's header.
    EXPECT_NE(std::string::npos, kave2e::ReadBook(first / name)["OEBPS/content.opf"].data.find(
                                     "urn:uuid:id_20231114221320"))
        << name;
    EXPECT_EQ("\xAA\xB1\x6E\x57", book.substr(10, 4)) << name;
  }
}

}  // namespace
