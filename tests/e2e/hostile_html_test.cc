// Hostile HTML through the C record: every input ends in a result code or a
// book that packs, never in a crash, a hang or a leak.

#include <pthread.h>

#include <random>
#include <set>
#include <string>

#include "service/kav_epub.h"
#include "service/kav_result.h"
#include "support/test_support.h"

namespace {

using kavtest::TempDir;
using kavtest::WriteFile;

// Imports html as the only page of a fresh book in work; on success packs
// the book into epub and returns its entries in names.
int ImportBook(TEpubService* service, const std::string& work, const std::string& html,
               const std::string& epub, std::set<std::string>* names) {
  TEpubData* data = service->data;
  int code = service->InitEpub(data, work.c_str(), "T", "A");
  if (code != KAV_OK) return code;
  code = service->AddHtmlToEpub(data, html.c_str());
  if (code == KAV_OK) {
    code = service->GenerateEpub(data, epub.c_str());
    EXPECT_CODE(KAV_OK, code) << "a book with an imported page packs";
    for (const auto& entry : kavtest::ReadZip(epub)) names->insert(entry.name);
  }
  service->ClearUp(data);
  return code;
}

class HostileHtml : public ::testing::Test {
 protected:
  void SetUp() override {
    service_ = CreateEpubService();
    ASSERT_NE(nullptr, service_);
    kavtest::MakeDirs(work_);
  }
  void TearDown() override { FreeEpubService(service_); }
  int Import(const std::string& html, std::set<std::string>* names) {
    return ImportBook(service_, work_, html, epub_, names);
  }

  TempDir dir_;
  std::string work_ = dir_ / "work";
  std::string epub_ = dir_ / "book.epub";
  TEpubService* service_ = nullptr;
};

std::string RandomBytes(size_t size, unsigned seed, const std::string& alphabet) {
  std::mt19937 generator(seed);
  std::string bytes(size, '\0');
  for (char& c : bytes) {
    unsigned value = generator();
    c = alphabet.empty() ? static_cast<char>(value) : alphabet[value % alphabet.size()];
  }
  return bytes;
}

TEST_F(HostileHtml, BadFilesAndReferencesGiveACodeOrABookOfWhatExists) {
  for (const char* dir : {"dir.png", "sub", "chapter.html", "top.html"}) {
    kavtest::MakeDirs(dir_ / dir);
  }
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "<div>";
  const std::set<std::string> pageOnly = {"META-INF/container.xml", "OEBPS/content.opf",
                                          "OEBPS/main.css",         "OEBPS/page-1.html",
                                          "OEBPS/toc.ncx",          "mimetype"};
  struct Case {
    std::string name;
    const char* content;  // written to the file; null: the path is left as it is
    std::set<int> codes;  // the acceptable results
  } cases[] = {
      {"random.html", nullptr, {KAV_OK, KAV_ERR_OPEN, KAV_ERR_NO_ELEMENT}},
      {"markup.html", nullptr, {KAV_OK, KAV_ERR_OPEN, KAV_ERR_NO_ELEMENT}},
      {"deep.html", nullptr, {KAV_OK}},
      {"refs.html",
       "<p><img src=\"dir.png\" alt=\"d\"><a href=\"sub/\">s</a><a href=\"sub\">s</a>"
       "<a href=\"chapter.html\">c</a><img src=\"gone.png\" alt=\"g\"><a href=\"gone.html\">g</a>"
       "<a href=\"sub/gone.htm\">g</a><link rel=\"stylesheet\" href=\"dir.png\"></p>",
       {KAV_OK}},
      {"empty.html", "", {KAV_ERR_OPEN, KAV_ERR_NO_ELEMENT}},
      {"top.html", nullptr, {KAV_ERR_OPEN, KAV_ERR_NO_ELEMENT}},  // a directory
      {"absent.html", nullptr, {KAV_ERR_ARGUMENT}},
  };
  WriteFile(dir_ / "random.html", RandomBytes(1 << 20, 7, ""));
  WriteFile(dir_ / "markup.html", RandomBytes(1 << 20, 8, "<>/=\"' abpimgulsrcdhef#:.-!&;"));
  WriteFile(dir_ / "deep.html", deep + "deep");
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (c.content != nullptr) WriteFile(dir_ / c.name, c.content);
    std::set<std::string> names;
    int code = Import(dir_ / c.name, &names);
    EXPECT_EQ(1u, c.codes.count(code)) << "code " << code;
    // Nothing but the page itself: no reference named a file that exists.
    if (code == KAV_OK) {
      EXPECT_EQ(pageOnly, names);
    }
  }
}

// A page of about 50 MB with an id and a fragment link per section (some
// 110,000 of each): every link keeps pointing at its id. Answering each id
// question by scanning all the ids seen would take hours here; the import
// takes seconds.
TEST_F(HostileHtml, FiftyMegabytePageKeepsEveryFragmentLinkToItsSection) {
  const std::string text(380, 'x');
  std::string html = "<html><body>";
  int sections = 0;
  while (html.size() < 50u << 20) {
    std::string id = std::to_string(sections);
    html += "<h2 id=\"s" + id + "\">" + id + "</h2><p>" + text + " <a href=\"#s" +
            std::to_string(sections > 0 ? sections - 1 : 0) + "\">back</a></p>\n";
    ++sections;
  }
  WriteFile(dir_ / "big.html", html + "</body></html>");
  html.clear();
  html.shrink_to_fit();
  std::set<std::string> names;
  ASSERT_CODE(KAV_OK, Import(dir_ / "big.html", &names));
  std::string page;
  for (const auto& entry : kavtest::ReadZip(dir_ / "book.epub")) {
    if (entry.name == "OEBPS/page-1.html") page = entry.data;
  }
  size_t links = 0;
  for (size_t at = page.find("<a href=\"#s"); at != std::string::npos;
       at = page.find("<a href=\"#s", at + 1)) {
    ++links;
  }
  EXPECT_EQ(static_cast<size_t>(sections), links);
}

struct ChainImport {
  TEpubService* service;
  std::string work, top, epub;
  std::set<std::string> names;
  int code;
};

// Pages that each link to the next are walked without the walk's depth
// using the stack: a thread with a small stack imports a long chain.
TEST_F(HostileHtml, LongChainOfPagesNeedsNoDeepStack) {
  const int pages = 1000;
  for (int i = 0; i < pages; ++i) {
    WriteFile(dir_ / ("p" + std::to_string(i) + ".html"),
              "<p>" + std::to_string(i) + " <a href=\"p" + std::to_string(i + 1) +
                  ".html\">next</a></p>");
  }
  ChainImport chain{service_, work_, dir_ / "p0.html", epub_, {}, -1};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 512 << 10);
  pthread_t thread;
  auto run = [](void* arg) -> void* {
    auto* c = static_cast<ChainImport*>(arg);
    c->code = ImportBook(c->service, c->work, c->top, c->epub, &c->names);
    return nullptr;
  };
  ASSERT_EQ(0, pthread_create(&thread, &attributes, run, &chain));
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  ASSERT_CODE(KAV_OK, chain.code);
  EXPECT_EQ(1u, chain.names.count("OEBPS/p999.html"));
  // The first page is stored as page-1.html, the others under their names.
  EXPECT_EQ(pages + 5u, chain.names.size());
}

}  // namespace
