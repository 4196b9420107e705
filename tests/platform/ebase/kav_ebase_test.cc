#include "platform/ebase/kav_ebase.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "support/test_support.h"

namespace {

using Strings = std::vector<std::string>;

class PackBookTest : public ::testing::Test {
 protected:
  // A small book; the symbolic links point outside it and must not be packed.
  void SetUp() override {
    for (const std::string& dir : {book + "/META-INF", book + "/OEBPS/images/sub", out})
      kavtest::MakeDirs(dir);
    kavtest::WriteFile(book + "/mimetype", "application/epub+zip");
    kavtest::WriteFile(book + "/META-INF/container.xml", "<container/>\n");
    for (const char* name : {"page-10.html", "page-2.html", "images-a.css", "images/sub/x.png"})
      kavtest::WriteFile(book + "/OEBPS/" + name, std::string(name) + std::string(300, 'q'));
    kavtest::WriteFile(tmp / "secret", "outside");
    ASSERT_EQ(0, symlink((tmp / "secret").c_str(), (book + "/OEBPS/link").c_str()));
    ASSERT_EQ(0, symlink(tmp.path().c_str(), (book + "/OEBPS/dirlink").c_str()));
  }
  kavtest::TempDir tmp;
  std::string book = tmp / "book", out = tmp / "out", epub = tmp / "out/b.epub";
};

// A megabyte of noise outgrows the writer's buffer once deflated, so its header is rewritten
// after its data; a long page outgrows the buffers kept between files; the empty and read-only
// files keep Unix modes, read-only ones the DOS bit too.
TEST_F(PackBookTest, ReplacesOutputWithStoredMimetypeFirstThenSortedDeflatedCopies) {
  std::mt19937 random(12345);
  std::string noise(1 << 20, '\0');
  for (char& c : noise) c = static_cast<char>(random());
  kavtest::WriteFile(book + "/OEBPS/images/noise.bin", noise);
  kavtest::WriteFile(book + "/OEBPS/empty.html", "");
  std::string longPage;
  while (longPage.size() < (6 << 20)) longPage += "<p>line " + std::to_string(random()) + "</p>\n";
  kavtest::WriteFile(book + "/OEBPS/long.html", longPage);
  kavtest::WriteFile(book + "/OEBPS/fixed.css", "p {}");
  ASSERT_EQ(0, chmod((book + "/OEBPS/fixed.css").c_str(), 0444));
  kavtest::WriteFile(epub, "an older book");
  const mode_t oldMask = umask(022);
  ASSERT_CODE(0, Kav_CreateEpubFromDir(book.c_str(), epub.c_str()));
  umask(oldMask);
  // clang-format off
  const Strings order = {"mimetype", "META-INF/container.xml", "OEBPS/empty.html",
      "OEBPS/fixed.css", "OEBPS/images-a.css", "OEBPS/images/noise.bin", "OEBPS/images/sub/x.png",
      "OEBPS/long.html", "OEBPS/page-10.html", "OEBPS/page-2.html"};
  // clang-format on
  const std::vector<kavtest::ZipEntry> entries = kavtest::ReadZip(epub);
  ASSERT_EQ(order.size(), entries.size());
  for (size_t i = 0; i < order.size(); ++i) {
    EXPECT_EQ(order[i], entries[i].name);
    EXPECT_EQ(i == 0, entries[i].stored) << order[i];
    EXPECT_EQ(kavtest::ReadFile(book + "/" + order[i]), entries[i].data) << order[i];
  }
  // Right after the first local header: no extra field before the data.
  EXPECT_EQ("mimetypeapplication/epub+zip", kavtest::ReadFile(epub).substr(30, 28));
  EXPECT_EQ(0, system(("unzip -tq '" + epub + "' >/dev/null").c_str()));
  struct stat st;
  ASSERT_EQ(0, stat(epub.c_str(), &st));
  EXPECT_EQ(0644u, st.st_mode & 0777) << "not the mode of a new file under umask 022";
  EXPECT_EQ(Strings{"b.epub"}, kavtest::ListFiles(out)) << "temporary left";
  zip_t* archive = zip_open(epub.c_str(), ZIP_RDONLY, nullptr);
  ASSERT_NE(nullptr, archive);
  const zip_uint32_t file = (S_IFREG | 0644u) << 16, readOnly = ((S_IFREG | 0444u) << 16) | 1u;
  const std::pair<const char*, zip_uint32_t> modes[] = {
      {"OEBPS/images/noise.bin", file}, {"OEBPS/empty.html", file}, {"OEBPS/fixed.css", readOnly}};
  for (const auto& [name, attributes] : modes) {
    zip_uint8_t system = 0;
    zip_uint32_t got = 0;
    zip_file_get_external_attributes(archive, zip_name_locate(archive, name, 0), 0, &system, &got);
    EXPECT_EQ(std::make_pair(zip_uint8_t{ZIP_OPSYS_UNIX}, attributes), std::make_pair(system, got))
        << name;
  }
  zip_discard(archive);
}

TEST_F(PackBookTest, FailuresGiveTheirCodeKeepEarlierOutputAndLeaveNoTemporary) {
  for (const std::string& dir :
       {tmp / "nomime/OEBPS", tmp / "mimedir/mimetype", out + "/d.epub/keep", tmp / "ro"})
    kavtest::MakeDirs(dir);
  kavtest::WriteFile(tmp / "nomime/OEBPS/p.html", "p");
  // Only a regular file is replaced: not a directory, nor a FIFO (or a device).
  mkfifo((out + "/f.epub").c_str(), 0644);
  // A read-only directory stops everyone but root; root cannot create files in /proc.
  chmod((tmp / "ro").c_str(), 0555);
  const std::string readOnly = geteuid() == 0 ? "/proc/b.epub" : tmp / "ro/b.epub";
  kavtest::WriteFile(epub, "an older book");
  // clang-format off
  const struct { std::string bookDir, epubPath; int code; } cases[] = {
      {"", epub, KAV_EBASE_ERR_ARGUMENT}, {book, "", KAV_EBASE_ERR_ARGUMENT},
      {tmp / "none", epub, KAV_EBASE_ERR_BOOK_DIR},
      {book + "/mimetype", epub, KAV_EBASE_ERR_BOOK_DIR},
      {tmp / "nomime", epub, KAV_EBASE_ERR_NO_MIMETYPE},
      {tmp / "mimedir", epub, KAV_EBASE_ERR_NO_MIMETYPE},
      {book, tmp / "none/b.epub", KAV_EBASE_ERR_OUTPUT}, {book, readOnly, KAV_EBASE_ERR_OUTPUT},
      {book, out + "/d.epub", KAV_EBASE_ERR_OUTPUT}, {book, out + "/f.epub", KAV_EBASE_ERR_OUTPUT}};
  // clang-format on
  for (const auto& c : cases) {
    EXPECT_CODE(c.code, Kav_CreateEpubFromDir(c.bookDir.c_str(), c.epubPath.c_str()))
        << c.bookDir << " -> " << c.epubPath;
  }
  EXPECT_CODE(KAV_EBASE_ERR_ARGUMENT, Kav_CreateEpubFromDir(nullptr, epub.c_str()));
  EXPECT_CODE(KAV_EBASE_ERR_ARGUMENT, Kav_CreateEpubFromDir(book.c_str(), nullptr));
  EXPECT_EQ("an older book", kavtest::ReadFile(epub));
  EXPECT_TRUE(kavtest::IsDir(out + "/d.epub/keep"));
  EXPECT_EQ((Strings{"b.epub", "f.epub"}), kavtest::ListFiles(out));
  EXPECT_TRUE(kavtest::ListFiles(tmp / "ro").empty());
}

}  // namespace
