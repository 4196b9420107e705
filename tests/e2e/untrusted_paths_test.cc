// Documents that name files outside their own folder. The library may read
// what a page names, wherever it is, but writes only in the working directory
// and the output file.

#include <filesystem>
#include <map>
#include <regex>
#include <string>

#include "e2e/book_checks.h"
#include "service/kav_result.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using kavtest::WriteFile;

// Every entry below root but the working and output folders, links not followed:
// a file by its content, a directory by "/", a link by its target.
std::map<std::string, std::string> Outside(const std::string& root) {
  std::map<std::string, std::string> entries;
  for (auto it = fs::recursive_directory_iterator(root); it != fs::end(it); ++it) {
    const std::string name = fs::relative(it->path(), root).string();
    if (name == "box/work" || name == "box/out")
      it.disable_recursion_pending();
    else if (it->is_symlink())
      entries[name] = "-> " + fs::read_symlink(it->path()).string();
    else
      entries[name] = it->is_directory() ? "/" : kavtest::ReadFile(it->path());
  }
  return entries;
}

class UntrustedPaths : public ::testing::Test {
 protected:
  void SetUp() override {
    // The book's folders lie as deep in box as the page does, so a name kept
    // with its ".." would land in the decoy folder beside box.
    for (const char* name : {"outside", "box/outside/deeper", "box/site/a/b/c/d", "box/out"})
      kavtest::MakeDirs(dir_ / name);
    for (const char* name : {"secret.png", "linked.png", "via-dir.png", "abs.png", "encoded.png",
                             "dots.png", "back.png", "deeper/far.png"})
      WriteFile(dir_ / "box/outside/" + name, "OUTSIDE "s + name);
    WriteFile(dir_ / "box/outside/secret.html",
              "<p>out <img src=\"deeper/far.png\" alt=\"f\"></p>");
    fs::create_symlink("../../../../../outside/linked.png", site_ + "link.png");
    fs::create_symlink("../../../../../outside", site_ + "linkdir");
    // Resources named like the book's own files.
    WriteFile(site_ + "main.css", "p { color: red }");
    WriteFile(site_ + "content.opf", "not a package");
  }

  // Imports html as the only page of out/book.epub; nothing outside the working and
  // output folders changes, the working folder is left empty, the book is the only output.
  kave2e::Book ImportAndPack(const std::string& html) {
    const std::string page = site_ + "index.html";
    WriteFile(page, html);
    const auto before = Outside(dir_.path());
    EXPECT_CODE(KAV_OK, kave2e::MakeBook(dir_ / "box/work", dir_ / "box/out/book.epub",
                                         [&](TEpubService* s, TEpubData* d) {
                                           return s->AddHtmlToEpub(d, page.c_str());
                                         }));
    EXPECT_EQ(before, Outside(dir_.path()));
    EXPECT_TRUE(fs::is_empty(dir_ / "box/work"));
    EXPECT_EQ(kave2e::Strings{"book.epub"}, kavtest::ListFiles(dir_ / "box/out"));
    kave2e::Book book = kave2e::ReadBook(dir_ / "box/out/book.epub");
    // Nor does any entry name point elsewhere once unpacked; some unpackers
    // read a backslash as a separator.
    const std::regex inBook(R"(mimetype|(META-INF|OEBPS)/[^\\]*)");
    for (const auto& [name, entry] : book) EXPECT_TRUE(std::regex_match(name, inBook)) << name;
    return book;
  }

  kavtest::TempDir dir_;
  const std::string site_ = dir_ / "box/site/a/b/c/d/";
};

TEST_F(UntrustedPaths, HostileReferencesReadOutsideButWriteOnlyTheWorkspaceAndTheBook) {
  // Files whose names hold backslashes, as an unpacked archive may have.
  WriteFile(site_ + "..\\..\\backslashed.png", "BACKSLASHED");
  WriteFile(site_ + "a\\..", "NO NAME");
  std::string deepPath;
  for (int i = 0; i < 2100; ++i) deepPath += "a/";
  const kave2e::Book book = ImportAndPack(
      R"(<html><head><link rel="stylesheet" href="main.css"></head><body><p>
<img src="../../../../../outside/secret.png" alt="1"><img src="link.png" alt="3">
<a href="../../../../../outside/secret.html">2</a><img src="linkdir/via-dir.png" alt="4">
<img src="..%2F..%2F..%2F..%2F..%2Foutside%2Fencoded.png" alt="6">
<img src="%2e%2e/%2e%2e/%2e%2e/%2e%2e/%2e%2e/outside/dots.png" alt="7">
<img src="..\..\..\..\..\outside\back.png" alt="8"><a href="content.opf">9</a>
<a href="../../../../../outside/deeper/../../../../../../../../../../../../../etc/hostname">12</a>
<img src="..\..\backslashed.png" alt="14"><a href="a\..">15</a>)"s +
      "<img src=\"" + dir_.path() + "/box/outside/abs.png\" alt=\"5\"><img src=\"" +
      std::string(5000, 'n') + ".png\" alt=\"10\"><img src=\"" + deepPath + "x.png\" alt=\"11\">" +
      "<img src=\"secret.png\0/../../x.png\" alt=\"13\"></p></body></html>"s);
  // A resource named like the book's files replaces them only inside the
  // book: the package document is written after it.
  EXPECT_NE(std::string::npos, book.at("OEBPS/content.opf").data.find("<package"));
  EXPECT_EQ(1u, book.count("OEBPS/backslashed.png"));
}

TEST_F(UntrustedPaths, PagesReachedTwiceOrInACycleWriteNothingOutside) {
  // A page that links itself through ".." and a link back into its own
  // folder: the walk ends, and every copy stays in the book's folder.
  fs::create_symlink(".", site_ + "loop");
  WriteFile(site_ + "page-1.html", "<p><a href=\"index.html\">back</a></p>");
  const kave2e::Book book = ImportAndPack(
      "<p><a href=\"loop/loop/index.html\">1</a><a href=\"../d/"
      "index.html\">2</a><a href=\"loop/page-1.html\">3</a></p>");
  EXPECT_LT(5u, book.size());
}

}  // namespace
