// Hostile HTML through the C record: every input ends in a result code or a
// book that packs, never in a crash, a hang or a leak.

#include <pthread.h>

#include <map>
#include <set>
#include <string>

#include "e2e/book_checks.h"
#include "service/kav_result.h"

namespace {

using kavtest::WriteFile;

int Import(const std::string& dir, const std::string& html) {
  return kave2e::MakeBook(dir + "/work", dir + "/book.epub", [&](TEpubService* s, TEpubData* d) {
    return s->AddHtmlToEpub(d, html.c_str());
  });
}

// References to directories and to nothing add nothing (the book holds the
// page alone); a page that is empty or a directory gives a code (deep nesting
// is the clean-up's tests' concern, arbitrary bytes the import fuzzer's).
TEST(HostileHtml, BadFilesAndReferencesGiveACodeOrABookOfWhatExists) {
  kavtest::TempDir dir;
  for (const char* name : {"dir.png", "sub", "chapter.html", "top.html"})
    kavtest::MakeDirs(dir / name);
  WriteFile(dir / "empty.html", "");
  WriteFile(dir / "refs.html",
            "<p><img src=\"dir.png\" alt=\"d\"><a href=\"sub/\">s</a><a href=\"sub\">s</a>"
            "<a href=\"chapter.html\">c</a><img src=\"gone.png\" alt=\"g\"><a href=\"gone.html\">"
            "g</a><a href=\"sub/gone.htm\">g</a><link rel=\"stylesheet\" href=\"dir.png\"></p>");
  for (const auto& [name, codes] :
       std::map<std::string, std::set<int>>{{"refs.html", {KAV_OK}},
                                            {"empty.html", {KAV_ERR_OPEN, KAV_ERR_NO_ELEMENT}},
                                            {"top.html", {KAV_ERR_OPEN, KAV_ERR_NO_ELEMENT}},
                                            {"absent.html", {KAV_ERR_ARGUMENT}}}) {
    kavtest::TempDir book;
    const int code = Import(book.path(), dir / name);
    EXPECT_EQ(1u, codes.count(code)) << name << ": code " << code;
    if (code != KAV_OK) continue;
    EXPECT_EQ(6u, kave2e::ReadBook(book / "book.epub").size()) << name;
  }
}

// About 110,000 ids and fragment links in 50 MB: scanning all the ids seen for
// each id question would take hours here; the import takes seconds.
TEST(HostileHtml, FiftyMegabytePageKeepsEveryFragmentLinkToItsSection) {
  kavtest::TempDir dir;
  const std::string text(380, 'x');
  std::string html = "<html><body>";
  int sections = 0;
  for (; html.size() < 50u << 20; ++sections) {
    html += "<h2 id=\"s" + std::to_string(sections) + "\">" + std::to_string(sections) +
            "</h2><p>" + text + " <a href=\"#s" + std::to_string(sections > 0 ? sections - 1 : 0) +
            "\">back</a></p>\n";
  }
  WriteFile(dir / "big.html", html + "</body></html>");
  html = std::string();
  ASSERT_CODE(KAV_OK, Import(dir.path(), dir / "big.html"));
  std::string page = kave2e::ReadBook(dir / "book.epub")["OEBPS/page-1.html"].data;
  int links = 0;
  for (size_t at = 0; (at = page.find("<a href=\"#s", at)) != std::string::npos; ++at) ++links;
  EXPECT_EQ(sections, links);
}

// Pages that each link to the next are walked without the walk's depth
// using the stack: a thread with a small stack imports a long chain.
TEST(HostileHtml, LongChainOfPagesNeedsNoDeepStack) {
  kavtest::TempDir dir;
  const int pages = 1000;
  for (int i = 0; i < pages; ++i) {
    const std::string page = "p" + std::to_string(i), next = "p" + std::to_string(i + 1);
    WriteFile(dir / page + ".html", "<p>" + page + " <a href=\"" + next + ".html\">next</a></p>");
  }
  std::string path = dir.path();
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 512 << 10);
  pthread_t thread;
  auto run = [](void* path) -> void* {
    Import(*static_cast<std::string*>(path), *static_cast<std::string*>(path) + "/p0.html");
    return nullptr;
  };
  ASSERT_EQ(0, pthread_create(&thread, &attributes, run, &path));
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  // The first page is stored as page-1.html, the others under their names.
  EXPECT_EQ(pages + 5u, kave2e::ReadBook(dir / "book.epub").size());
}

}  // namespace
