#include <gmock/gmock.h>
#include <libxml/HTMLparser.h>
#include <stdlib.h>

#include <map>
#include <optional>
#include <random>
#include <set>

#include "platform/mobi/kav_mobi.h"
#include "support/test_support.h"

namespace {

const std::string kBooks = "../shared/fixtures/mobi/";

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

// The extracted HTML as libxml2's HTML parser reads it, trusting the
// file's own charset declaration.
struct Html {
  bool parsed = false;
  std::string text;
  std::vector<std::string> images, links;
  std::set<std::string> ids;
};

void Collect(xmlNode* node, Html& html) {
  for (; node != nullptr; node = node->next) {
    auto attr = [node](const char* name) { return Take((char*)xmlGetProp(node, BAD_CAST name)); };
    if (node->type == XML_TEXT_NODE) html.text += (const char*)node->content;
    if (auto id = attr("id")) html.ids.insert(*id);
    if (auto href = attr("href")) html.links.push_back(*href);
    if (auto src = attr("src"); src && xmlStrEqual(node->name, BAD_CAST "img"))
      html.images.push_back(*src);
    Collect(node->children, html);
  }
}

Html ReadHtml(const std::string& path) {
  Html html;
  htmlDocPtr doc = htmlReadFile(
      path.c_str(), nullptr,
      HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET);
  html.parsed = doc != nullptr && xmlDocGetRootElement(doc) != nullptr;
  if (doc != nullptr) Collect(xmlDocGetRootElement(doc), html);
  xmlFreeDoc(doc);
  return html;
}

// Title, author, cover and pictures are checked in the books made of these
// fixtures; here the text in several scripts and the links inside the book.
TEST(MobiReader, EachFixtureGivesHtmlWhoseTextReadsAndReferencesResolve) {
  for (const std::string name :
       {"lantern_mobi6", "lantern_kf8", "lantern_joint", "plain_mobi6", "special_title_mobi6"}) {
    SCOPED_TRACE(name);
    kavtest::TempDir dir;
    Reader reader;
    ASSERT_CODE(0, reader.Open(kBooks + name + ".mobi"));
    ASSERT_CODE(0, reader.Extract(dir / "tmp.html"));
    Html html = ReadHtml(dir / "tmp.html");
    ASSERT_TRUE(html.parsed);
    for (const std::string& src : html.images) EXPECT_TRUE(kavtest::Exists(dir / src)) << src;
    for (const std::string& link : html.links)
      EXPECT_EQ(1u, html.ids.count(link.substr(1))) << link;
    if (name.rfind("lantern", 0) != 0) continue;
    for (const char* words : {"Grünwald", "灯塔守护者", "Sturm; Fenster geöffnet", "Ende — 终"}) {
      EXPECT_NE(std::string::npos, html.text.find(words)) << words;
    }
    if (name != "lantern_mobi6") {
      EXPECT_THAT(html.links, testing::Contains("#storm"));
    }
  }
}

TEST(MobiReader, InvalidBooksFailWithTheirCodeAndWriteNothing) {
  const std::map<std::string, int> expected = {{"drm_lantern_mobi6.mobi", KAV_MOBI_ERR_ENCRYPTED},
                                               {"empty.mobi", KAV_MOBI_ERR_DAMAGED},
                                               {"not_a_mobi.mobi", KAV_MOBI_ERR_DAMAGED},
                                               {"truncated_lantern_kf8.mobi", KAV_MOBI_ERR_DAMAGED},
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

// 64 cuts of a book, 8 runs of random bytes, 32 books with 20 random bytes
// changed, then one whose header flag is no UTF-8 (libxml2, under libmobi,
// complains about it): each fails with a reader code and writes no HTML, or
// opens and extracts to HTML that parses, and nothing is printed.
TEST(MobiReader, TruncatedRandomAndCorruptedBooksFailOrStayUsableQuietly) {
  kavtest::TempDir dir;
  const std::string book = kavtest::ReadFile(kBooks + "lantern_joint.mobi");
  std::string flagged = kavtest::ReadFile(kBooks + "lantern_mobi6.mobi");
  ASSERT_NE(std::string::npos, flagged.find("\x0ctrue")) << "fixtures missing";
  flagged.replace(flagged.find("\x0ctrue") + 1, 1, "\xbb");
  std::mt19937 random(20240611);
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  for (size_t i = 0; i < 105; ++i) {
    SCOPED_TRACE(i);
    std::string bytes =
        i < 64    ? book.substr(0, book.size() - book.size() * i / 64 - 1)
        : i < 72  ? std::string(size_t{16} << (i - 64), '\0')
        : i < 104 ? kavtest::ReadFile(kBooks + (i % 2 ? "lantern_kf8.mobi" : "lantern_mobi6.mobi"))
                  : flagged;
    for (size_t n = 0; i >= 64 && i < 104 && n < (i < 72 ? bytes.size() : 20); ++n)
      bytes[random() % bytes.size()] = static_cast<char>(random());
    kavtest::WriteFile(dir / "bad.mobi", bytes);
    kavtest::TempDir out;
    Reader reader;
    int code = reader.Open(dir / "bad.mobi");
    EXPECT_TRUE(code == 0 || (code >= KAV_MOBI_ERR_ARGUMENT && code <= 639)) << code;
    if (code != 0) continue;
    EXPECT_TRUE(reader.Title().has_value());
    reader.Cover();
    code = reader.Extract(out / "tmp.html");
    EXPECT_EQ(code == 0, kavtest::Exists(out / "tmp.html")) << code;
    EXPECT_TRUE(code != 0 || ReadHtml(out / "tmp.html").parsed);
  }
  EXPECT_EQ("", testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr());
}

}  // namespace
