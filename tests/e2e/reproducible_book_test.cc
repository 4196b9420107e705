// With SOURCE_DATE_EPOCH set the same input makes the same book, byte for
// byte, whenever and in whatever time zone it is made.

#include <time.h>
#include <unistd.h>
#include <zip.h>

#include <string>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "support/test_support.h"

namespace {

const char kEpoch[] = "1700000000";  // even, as ZIP times count two seconds
const char kEpochStamp[] = "20231114221320";

// A text book through the one-call conversion and a picture book built page
// by page, both made in dir (each with a working directory of its own).
void MakeBooks(const kavtest::TempDir& dir, const std::string& text, const std::string& picture) {
  TEpubService* service = CreateEpubService();
  ASSERT_NE(nullptr, service);
  kavtest::MakeDirs(dir / "work1");
  kavtest::MakeDirs(dir / "work2");
  EXPECT_CODE(0, service->Txt2Epub(text.c_str(), (dir / "text.epub").c_str(),
                                   (dir / "work1").c_str(), "", "", nullptr, nullptr));
  TEpubData* data = service->data;
  int rc = service->InitEpub(data, (dir / "work2").c_str(), "Pictures", "Me");
  rc = rc ? rc : service->StartPage(data);
  rc = rc ? rc : service->AddTextLineToPage(data, "A picture follows.\n");
  rc = rc ? rc : service->AddImageToPage(data, picture.c_str());
  rc = rc ? rc : service->EndPage(data);
  rc = rc ? rc : service->AddImageToEpub(data, picture.c_str());
  rc = rc ? rc : service->GenerateEpub(data, (dir / "picture.epub").c_str());
  EXPECT_CODE(0, rc);
  FreeEpubService(service);
}

std::string Identifier(const std::string& epub) {
  const kave2e::Book book = kave2e::ReadBook(epub);
  const auto opf = book.find("OEBPS/content.opf");
  if (opf == book.end()) return "(no content.opf)";
  const kave2e::Strings ids = kave2e::XPathTexts(opf->second.data, "//dc:identifier");
  return ids.size() == 1 ? ids[0] : "(not one identifier)";
}

std::string LocalStamp(time_t at) {
  char text[16];
  struct tm fields;
  strftime(text, sizeof(text), "%Y%m%d%H%M%S", localtime_r(&at, &fields));
  return text;
}

// Every entry's time as the clock reading in its header, YYYYmmddHHMMSS.
kave2e::Strings EntryStamps(const std::string& epub) {
  kave2e::Strings stamps;
  zip_t* archive = zip_open(epub.c_str(), ZIP_RDONLY, nullptr);
  if (archive == nullptr) return {"(unreadable)"};
  for (zip_int64_t i = 0; i < zip_get_num_entries(archive, 0); ++i) {
    zip_stat_t st;
    // libzip reads the header's reading back through the local time zone.
    if (zip_stat_index(archive, static_cast<zip_uint64_t>(i), 0, &st) == 0) {
      stamps.push_back(LocalStamp(st.mtime));
    }
  }
  zip_discard(archive);
  return stamps;
}

TEST(ReproducibleBook, SameEpochMakesIdenticalBooksAtAnotherTimeAndZone) {
  kavtest::TempDir inputs, first, second;
  const std::string text = inputs / "book.txt", picture = inputs / "picture.png";
  std::string lines;
  for (int i = 0; i < 150; ++i) lines += "Line " + std::to_string(i) + " of the book.\n";
  kavtest::WriteFile(text, lines);
  kavtest::WriteFile(picture, "\x89PNG not really a picture");

  kavtest::ScopedEnv epoch("SOURCE_DATE_EPOCH", kEpoch);
  {
    kavtest::ScopedEnv zone("TZ", "UTC0");
    MakeBooks(first, text, picture);
  }
  sleep(2);  // the clock, the files' times and the ZIP time all move on
  {
    kavtest::ScopedEnv zone("TZ", "UTC-9");
    MakeBooks(second, text, picture);
    for (const char* name : {"text.epub", "picture.epub"}) {
      const std::string book = kavtest::ReadFile(first / name);
      ASSERT_GT(book.size(), 100u) << name;
      EXPECT_TRUE(book == kavtest::ReadFile(second / name)) << name << " differs";
      EXPECT_EQ(std::string("urn:uuid:id_") + kEpochStamp, Identifier(second / name)) << name;
      const kave2e::Strings stamps = EntryStamps(second / name);
      EXPECT_GT(stamps.size(), 4u) << name;
      for (const std::string& stamp : stamps) EXPECT_EQ(kEpochStamp, stamp) << name;
    }
  }
}

TEST(ReproducibleBook, WithoutEpochTheIdentifierIsTheLocalTime) {
  kavtest::TempDir dir;
  kavtest::ScopedEnv epoch("SOURCE_DATE_EPOCH", nullptr);
  kavtest::WriteFile(dir / "book.txt", "One line.\n");
  kavtest::WriteFile(dir / "picture.png", "PNG");
  const time_t before = time(nullptr);
  MakeBooks(dir, dir / "book.txt", dir / "picture.png");
  const std::string stamp = Identifier(dir / "picture.epub").substr(12);
  EXPECT_LE(LocalStamp(before), stamp);
  EXPECT_GE(LocalStamp(time(nullptr)), stamp);
}

}  // namespace
