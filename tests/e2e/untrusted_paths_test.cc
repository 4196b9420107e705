// Documents that name files outside their own folder. The library reads what
// a page names, wherever it is, and puts it into the book; it writes only in
// the working directory and the output file.

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

namespace fs = std::filesystem;
using kavtest::WriteFile;

// Every entry below root, without following links: a file by its size and
// a hash of its content, a directory by "/", a link by its target.
std::map<std::string, std::string> Snapshot(const std::string& root) {
  std::map<std::string, std::string> entries;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    std::string name = fs::relative(entry.path(), root).string();
    if (entry.is_symlink()) {
      entries[name] = "-> " + fs::read_symlink(entry.path()).string();
    } else if (entry.is_directory()) {
      entries[name] = "/";
    } else {
      std::string content = kavtest::ReadFile(entry.path().string());
      entries[name] = std::to_string(content.size()) + " bytes, hash " +
                      std::to_string(std::hash<std::string>()(content));
    }
  }
  return entries;
}

// The snapshot without the entries under the given top-level folders.
std::map<std::string, std::string> Without(std::map<std::string, std::string> entries,
                                           std::initializer_list<std::string> folders) {
  for (auto it = entries.begin(); it != entries.end();) {
    bool inside = false;
    for (const std::string& folder : folders) {
      inside = inside || it->first == folder || it->first.rfind(folder + "/", 0) == 0;
    }
    it = inside ? entries.erase(it) : std::next(it);
  }
  return entries;
}

class UntrustedPaths : public ::testing::Test {
 protected:
  void SetUp() override {
    // The book's folders lie as deep in box as the page does, so a name kept
    // with its ".." would land in the decoy folder beside box.
    for (const char* name :
         {"outside", "box/outside/deeper", "box/site/a/b/c/d", "box/work", "box/out"}) {
      kavtest::MakeDirs(dir_ / name);
    }
    for (const char* name : {"secret.png", "linked.png", "via-dir.png", "abs.png", "encoded.png",
                             "dots.png", "back.png", "deeper/far.png"}) {
      WriteFile(dir_ / ("box/outside/" + std::string(name)), std::string("OUTSIDE ") + name);
    }
    WriteFile(dir_ / "box/outside/secret.html",
              "<html><body><p>out <img src=\"deeper/far.png\" alt=\"f\"></p></body></html>");
    fs::create_symlink("../../../../../outside/linked.png", dir_ / "box/site/a/b/c/d/link.png");
    fs::create_symlink("../../../../../outside", dir_ / "box/site/a/b/c/d/linkdir");
    // Resources named like the book's own files.
    WriteFile(dir_ / "box/site/a/b/c/d/main.css", "p { color: red }");
    WriteFile(dir_ / "box/site/a/b/c/d/content.opf", "not a package");
  }

  // Imports page as the only page of a book, packs it into out/book.epub and
  // clears up; the book's entries, or an empty book on a failure.
  kave2e::Book ImportAndPack(const std::string& page, int* code) {
    TEpubService* service = CreateEpubService();
    TEpubData* data = service->data;
    std::string work = dir_ / "box/work", epub = dir_ / "box/out/book.epub";
    *code = service->InitEpub(data, work.c_str(), "T", "A");
    if (*code == KAV_OK) *code = service->AddHtmlToEpub(data, page.c_str());
    if (*code == KAV_OK) *code = service->GenerateEpub(data, epub.c_str());
    service->ClearUp(data);
    FreeEpubService(service);
    return *code == KAV_OK ? kave2e::ReadBook(epub) : kave2e::Book();
  }

  kavtest::TempDir dir_;
};

TEST_F(UntrustedPaths, HostileReferencesReadOutsideButWriteOnlyTheWorkspaceAndTheBook) {
  const std::string longName(5000, 'n');
  std::string deepPath;
  for (int i = 0; i < 2100; ++i) deepPath += "a/";
  std::string html =
      "<html><head><link rel=\"stylesheet\" href=\"main.css\"></head><body><p>"
      "<img src=\"../../../../../outside/secret.png\" alt=\"1\">"
      "<a href=\"../../../../../outside/secret.html\">2</a>"
      "<img src=\"link.png\" alt=\"3\"><img src=\"linkdir/via-dir.png\" alt=\"4\">"
      "<img src=\"" +
      dir_.path() +
      "/box/outside/abs.png\" alt=\"5\">"
      "<img src=\"..%2F..%2F..%2F..%2F..%2Foutside%2Fencoded.png\" alt=\"6\">"
      "<img src=\"%2e%2e/%2e%2e/%2e%2e/%2e%2e/%2e%2e/outside/dots.png\" alt=\"7\">"
      "<img src=\"..\\..\\..\\..\\..\\outside\\back.png\" alt=\"8\">"
      "<a href=\"content.opf\">9</a>"
      "<img src=\"" +
      longName + ".png\" alt=\"10\"><img src=\"" + deepPath +
      "x.png\" alt=\"11\">"
      "<a "
      "href=\"../../../../../outside/deeper/../../../../../../../../../../../../../etc/"
      "hostname\">12</a>";
  // Files whose names hold backslashes, as an unpacked archive may have.
  WriteFile(dir_ / "box/site/a/b/c/d/..\\..\\backslashed.png", "BACKSLASHED");
  WriteFile(dir_ / "box/site/a/b/c/d/a\\..", "NO NAME");
  html += "<img src=\"..\\..\\backslashed.png\" alt=\"14\"><a href=\"a\\..\">15</a>";
  static const char kNulInName[] = "<img src=\"secret.png\0/../../x.png\" alt=\"13\">";
  html.append(kNulInName, sizeof kNulInName - 1);
  html += "</p></body></html>";
  WriteFile(dir_ / "box/site/a/b/c/d/index.html", html);
  const auto before = Snapshot(dir_.path());

  int code = -1;
  kave2e::Book book = ImportAndPack(dir_ / "box/site/a/b/c/d/index.html", &code);
  ASSERT_CODE(KAV_OK, code);

  // Nothing outside the working directory and the output changed, and the
  // workspace is gone again.
  const auto after = Snapshot(dir_.path());
  EXPECT_EQ(Without(before, {"box/work", "box/out"}), Without(after, {"box/work", "box/out"}));
  EXPECT_EQ(
      (std::map<std::string, std::string>{{"box", "/"},
                                          {"box/work", "/"},
                                          {"box/out", "/"},
                                          {"box/out/book.epub", after.at("box/out/book.epub")}}),
      Without(after, {"box/outside", "box/site", "outside"}));

  // What the page could reach was read and landed flat in the book: through
  // "..", through links, through an escaped "/", and from a linked page.
  // An absolute path is looked up below the page's folder, and escaped dots
  // and backslashes are plain characters, so those three stay out.
  std::map<std::string, std::string> outsiders;
  for (const auto& [name, entry] : book) {
    if (entry.data.rfind("OUTSIDE ", 0) == 0) outsiders[name] = entry.data;
  }
  EXPECT_EQ((std::map<std::string, std::string>{
                {"OEBPS/secret.png", "OUTSIDE secret.png"},
                {"OEBPS/link.png", "OUTSIDE linked.png"},
                {"OEBPS/via-dir.png", "OUTSIDE via-dir.png"},
                {"OEBPS/encoded.png", "OUTSIDE encoded.png"},
                {"OEBPS/far.png", "OUTSIDE deeper/far.png"},
            }),
            outsiders);
  EXPECT_EQ(1u, book.count("OEBPS/secret.html"));
  // A file of the system, named through enough "..", is read as well.
  EXPECT_EQ(fs::exists("/etc/hostname") ? 1u : 0u, book.count("OEBPS/hostname"));
  // A resource named like the book's files replaces them only inside the
  // book: the package document is written after it.
  EXPECT_NE(std::string::npos, book.at("OEBPS/content.opf").data.find("<package"));
  EXPECT_EQ("p { color: red }", book.at("OEBPS/main.css").data);
  // No entry name carries a backslash, which some unpackers read as a
  // separator; the picture keeps the name its page now refers to.
  for (const auto& entry : book) EXPECT_EQ(std::string::npos, entry.first.find('\\'));
  EXPECT_EQ(1u, book.count("OEBPS/backslashed.png"));
  EXPECT_NE(std::string::npos, book.at("OEBPS/page-1.html").data.find("src=\"backslashed.png\""));
}

TEST_F(UntrustedPaths, PagesReachedTwiceOrInACycleWriteNothingOutside) {
  // A page that links itself through ".." and a link back into its own
  // folder: the walk ends, and every copy stays in the book's folder.
  fs::create_symlink(".", dir_ / "box/site/a/b/c/d/loop");
  WriteFile(
      dir_ / "box/site/a/b/c/d/index.html",
      "<html><body><p><a href=\"loop/loop/index.html\">1</a>"
      "<a href=\"../d/index.html\">2</a><a href=\"loop/page-1.html\">3</a></p></body></html>");
  WriteFile(dir_ / "box/site/a/b/c/d/page-1.html",
            "<html><body><p><a href=\"index.html\">back</a></p></body></html>");
  const auto before = Snapshot(dir_.path());

  int code = -1;
  kave2e::Book book = ImportAndPack(dir_ / "box/site/a/b/c/d/index.html", &code);
  ASSERT_CODE(KAV_OK, code);
  EXPECT_EQ(Without(before, {"box/work", "box/out"}),
            Without(Snapshot(dir_.path()), {"box/work", "box/out"}));
  for (const auto& entry : book) {
    EXPECT_TRUE(entry.first == "mimetype" || entry.first.rfind("META-INF/", 0) == 0 ||
                entry.first.rfind("OEBPS/", 0) == 0)
        << entry.first;
  }
}

}  // namespace
