// Hostile HTML through the C record: every input ends in a result code or a
// book that packs, never in a crash, a hang or a leak.

#include <pthread.h>

#include <map>
#include <set>
#include <string>

#include "e2e/book_checks.h"
#include "service/kav_epub.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using kavtest::WriteFile;

struct Imported {
  int code = -1;
  std::set<std::string> names;
};

// Imports html as the only page of a fresh book in dir/work; on success
// packs it into dir/book.epub and keeps its entry names.
Imported Import(const std::string& dir, const std::string& html) {
  Imported result;
  std::string work = dir + "/work", epub = dir + "/book.epub";
  kavtest::MakeDirs(work);
  TEpubService* service = CreateEpubService();
  TEpubData* data = service->data;
  result.code = service->InitEpub(data, work.c_str(), "T", "A");
  if (result.code == KAV_OK) result.code = service->AddHtmlToEpub(data, html.c_str());
  if (result.code == KAV_OK) {
    EXPECT_CODE(KAV_OK, result.code = service->GenerateEpub(data, epub.c_str()));
    for (const auto& entry : kave2e::ReadBook(epub)) result.names.insert(entry.first);
  }
  service->ClearUp(data);
  FreeEpubService(service);
  return result;
}

// Deep nesting and the codes of each failure are the page clean-up's tests'
// concern; here whole books come of whatever the files hold.
TEST(HostileHtml, BadFilesAndReferencesGiveACodeOrABookOfWhatExists) {
  kavtest::TempDir dir;
  for (const char* name : {"dir.png", "sub", "chapter.html", "top.html"}) {
    kavtest::MakeDirs(dir / name);
  }
  WriteFile(dir / "random.html", kave2e::RandomBytes(1 << 20, 7));
  WriteFile(dir / "markup.html", kave2e::RandomBytes(1 << 20, 8, "<>/=\"' abpimgulsrcdhef#:.-!&;"));
  WriteFile(dir / "empty.html", "");
  WriteFile(dir / "refs.html",
            "<p><img src=\"dir.png\" alt=\"d\"><a href=\"sub/\">s</a><a href=\"sub\">s</a>"
            "<a href=\"chapter.html\">c</a><img src=\"gone.png\" alt=\"g\"><a href=\"gone.html\">"
            "g</a><a href=\"sub/gone.htm\">g</a><link rel=\"stylesheet\" href=\"dir.png\"></p>");
  // Nothing but the page itself: no reference named a file that exists.
  const std::set<std::string> kOnlyThePage = {"META-INF/container.xml", "OEBPS/content.opf",
                                              "OEBPS/main.css",         "OEBPS/page-1.html",
                                              "OEBPS/toc.ncx",          "mimetype"};
  const std::set<int> anyOf = {KAV_OK, KAV_ERR_OPEN, KAV_ERR_NO_ELEMENT};
  for (const auto& [name, codes] : std::map<std::string, std::set<int>>{
           {"random.html", anyOf},
           {"markup.html", anyOf},
           {"refs.html", {KAV_OK}},
           {"empty.html", {KAV_ERR_OPEN, KAV_ERR_NO_ELEMENT}},
           {"top.html", {KAV_ERR_OPEN, KAV_ERR_NO_ELEMENT}},  // a directory
           {"absent.html", {KAV_ERR_ARGUMENT}}}) {
    Imported import = Import(dir / "book", dir / name);
    EXPECT_EQ(1u, codes.count(import.code)) << name << ": code " << import.code;
    EXPECT_TRUE(import.code != KAV_OK || import.names == kOnlyThePage) << name;
  }
}

// About 110,000 ids and fragment links in 50 MB: answering each id question
// by scanning all the ids seen would take hours here; the import takes
// seconds.
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
  ASSERT_CODE(KAV_OK, Import(dir.path(), dir / "big.html").code);
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
    WriteFile(dir / ("p" + std::to_string(i) + ".html"),
              "<p>" + std::to_string(i) + " <a href=\"p" + std::to_string(i + 1) +
                  ".html\">next</a></p>");
  }
  std::pair<std::string, Imported> chain{dir.path(), {}};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 512 << 10);
  pthread_t thread;
  auto run = [](void* arg) -> void* {
    auto* c = static_cast<std::pair<std::string, Imported>*>(arg);
    c->second = Import(c->first, c->first + "/p0.html");
    return nullptr;
  };
  ASSERT_EQ(0, pthread_create(&thread, &attributes, run, &chain));
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  ASSERT_CODE(KAV_OK, chain.second.code);
  EXPECT_EQ(1u, chain.second.names.count("OEBPS/p999.html"));
  // The first page is stored as page-1.html, the others under their names.
  EXPECT_EQ(pages + 5u, chain.second.names.size());
}

}  // namespace
