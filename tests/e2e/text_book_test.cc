// Whole texts into books through the extension interface (kav_epub_ext.h),
// as kav-epub txt makes them: chapters, title, language, every character;
// and the page settings and result codes a host sees.

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "convert/progress_callback.h"
#include "e2e/book_checks.h"
#include "service/kav_epub_ext.h"
#include "service/kav_result.h"

namespace {

using kave2e::Strings;

std::string Repeat(const std::string& text, int count) {
  std::string out;
  while (count-- > 0) out += text;
  return out;
}

int Record(void* user, int done, int total) {
  static_cast<std::vector<std::pair<int, int>>*>(user)->emplace_back(done, total);
  return 0;
}

class TextBook : public ::testing::Test {
 protected:
  // Converts text with the options (name, value pairs); the result code.
  int Convert(const std::string& text, const std::vector<std::pair<const char*, const char*>>& set,
              const std::string& epub) {
    kavtest::WriteFile(txt_, text);
    KavBookOptions* options = KavOptionsCreate();
    for (const auto& [name, value] : set) EXPECT_EQ(KAV_OK, KavOptionsSet(options, name, value));
    reports_.clear();
    int code = KavEpubConvertText(txt_.c_str(), epub.c_str(), dir_.path().c_str(), options,
                                  &reports_, Record);
    KavOptionsFree(options);
    return code;
  }
  kavtest::TempDir dir_;
  std::string txt_ = dir_ / "My Novel.txt", epub_ = dir_ / "book.epub";
  std::vector<std::pair<int, int>> reports_;
};

TEST(Headings, ShapesOfEachLanguageAreHeadingsAndNearMissesText) {
  const std::pair<const char*, int> cases[] = {
      {"Chapter 12", 1},
      {"CHAPTER XII", 1},
      {"Chapter 3. The Storm", 1},
      {"  Part One\r\n", 1},
      {"Book II", 1},
      {"Prologue", 1},
      {"Epilogue", 1},
      {"Chapter Twenty-One: Home", 1},
      {"第一章 风起", 1},
      {"第12章", 1},
      {"第一回", 1},
      {"第三卷 …", 1},
      {"序章", 1},
      {"楔子", 1},
      {"番外", 1},
      {"\u3000\u3000第一章\u3000风起\n", 1},
      {"第一話", 1},
      {"Chapter and verse were quoted at length by the elders of the town.", 0},
      {"Part of the people went up to the hills.", 0},
      {"Book one was better.", 0},
      {"Chapter 3 was the longest of them all.", 0},
      {"Part mild", 0},
      {"chapter", 0},
      {"第一章的时候他就死了", 0},
      {"第一次见面，他说。", 0},
      {"番外篇很好看。", 0},
      {"Chapter 1 and then a line far too long to be a heading by any measure at all", 0},
      {"", 0},
      {"\n", 0}};
  for (const auto& [line, heading] : cases) {
    EXPECT_EQ(heading, KavIsChapterHeading(line, strlen(line), nullptr)) << line;
  }
  EXPECT_EQ(1, KavIsChapterHeading("## Act 2", 8, "^## "));
  EXPECT_EQ(0, KavIsChapterHeading("Chapter 2", 9, "^## "));
  EXPECT_EQ(KAV_ERR_BAD_PATTERN, KavIsChapterHeading("x", 1, "(["));
}

// Latin script by the fingerprints; too short to tell gives "en".
TEST(Languages, GuessedFromTheScriptAndTheWords) {
  const std::pair<const char*, const char*> cases[] = {
      {"从前有一座山，山上有一座庙。", "zh"},
      {"昔々、ある山の上に小さな時計屋がありました。", "ja"},
      {"옛날 옛적에 산 위에 작은 시계방이 있었습니다.", "ko"},
      {"Часовщик и ученик.", "ru"},
      {"Ο ωρολογοποιός και ο μαθητής.", "el"},
      {"صانع الساعات وتلميذه.", "ar"},
      {"השען והשוליה.", "he"},
      {"ช่างนาฬิกาและลูกศิษย์", "th"},
      {"The clockmaker and the apprentice.", "en"},
      {"1234 ...", "en"},
      {"Le vieil horloger ouvrait sa boutique chaque matin avant le lever du soleil, et son "
       "apprenti arrivait toujours en retard avec une excuse nouvelle.", "fr"},
      {"Der alte Uhrmacher öffnete seinen Laden jeden Morgen vor Sonnenaufgang, und sein "
       "Lehrling kam immer mit einer neuen Ausrede zu spät.", "de"},
      {"El viejo relojero abría su tienda cada mañana antes de que saliera el sol, y su "
       "aprendiz siempre llegaba tarde con una excusa nueva.", "es"},
      {"Il vecchio orologiaio apriva la sua bottega ogni mattina prima dell'alba, e il suo "
       "apprendista arrivava sempre in ritardo con una scusa nuova.", "it"},
      {"O velho relojoeiro abria a sua loja todas as manhãs antes do nascer do sol, e o seu "
       "aprendiz chegava sempre atrasado com uma desculpa nova.", "pt"},
      {"De oude klokkenmaker opende zijn winkel elke ochtend voor zonsopgang, en zijn "
       "leerling kwam altijd te laat met een nieuw excuus.", "nl"},
      {"Stary zegarmistrz otwierał swój sklep każdego ranka przed wschodem słońca, a jego "
       "uczeń zawsze spóźniał się z nową wymówką.", "pl"},
      {"Le vieil horloger.", "en"},
      {"Der Uhrmacher.", "en"}};
  char tag[16];
  for (const auto& [text, language] : cases) {
    ASSERT_EQ(KAV_OK, KavGuessLanguage(text, strlen(text), tag, sizeof tag));
    EXPECT_STREQ(language, tag) << text;
  }
}

// Front matter under the title, three chapters, the first long enough for
// two continuation pages that stay out of the navigation document.
TEST_F(TextBook, ChaptersAreListedEntryByEntryAndContinuationPagesOnlyInTheSpine) {
  const std::string text = "A foreword line.\n\nChapter 1. The Storm\n" +
                           Repeat("Rain fell.\n", 130) +
                           "CHAPTER II\nShort.\n\n第三章 风起\n他走了。\n";
  ASSERT_EQ(KAV_OK, Convert(text, {{"author", "Me"}}, epub_));
  auto book = kave2e::ReadBook(epub_);
  const std::string& ncx = book["OEBPS/toc.ncx"].data;
  EXPECT_EQ((Strings{"My Novel", "Chapter 1. The Storm", "CHAPTER II", "第三章 风起"}),
            kave2e::XPathTexts(ncx, "//ncx:navLabel"));
  EXPECT_EQ((Strings{"page-1.html", "page-2.html", "page-5.html", "page-6.html"}),
            kave2e::XPathTexts(ncx, "//ncx:content/@src"));
  EXPECT_EQ((Strings{"1", "2", "3", "4"}), kave2e::XPathTexts(ncx, "//ncx:navPoint/@playOrder"));
  const std::string& opf = book["OEBPS/content.opf"].data;
  Strings spine;
  for (const std::string& id : kave2e::XPathTexts(opf, "//opf:itemref/@idref"))
    spine.push_back(kave2e::XPathTexts(opf, "//opf:item[@id='" + id + "']/@href")[0]);
  EXPECT_EQ((Strings{"page-1.html", "page-2.html", "page-3.html", "page-4.html", "page-5.html",
                     "page-6.html"}),
            spine);
  EXPECT_EQ((Strings{"My Novel", "Me", "en"}),
            kave2e::XPathTexts(opf, "//dc:title | //dc:creator | //dc:language"));
  // Headings head their pages and are not repeated as text; 130 lines of a
  // chapter fill 60 + 60 + 10.
  EXPECT_EQ((Strings{"Chapter 1. The Storm"}),
            kave2e::XPathTexts(book["OEBPS/page-2.html"].data, "//x:h2"));
  EXPECT_EQ(Strings{}, kave2e::XPathTexts(book["OEBPS/page-3.html"].data, "//x:h2"));
  EXPECT_EQ(Strings{},
            kave2e::XPathTexts(book["OEBPS/page-6.html"].data, "//x:p[contains(., '第三章')]"));
  const std::string last = kave2e::XPathTexts(book["OEBPS/page-4.html"].data, "//x:body")[0];
  EXPECT_EQ(last.find("Rain fell.") + 9 * 11, last.rfind("Rain fell."));
  std::vector<std::pair<int, int>> expected;
  for (int done = 1; done <= 7; ++done) expected.emplace_back(done, 7);
  EXPECT_EQ(expected, reports_);
  kave2e::ExpectOnlyFindings(epub_, kave2e::kUsualFindings);
}

// Without headings, or with chapters off, the book is the one Txt2Epub
// makes (given the same empty title and "en"), byte for byte.
TEST_F(TextBook, TextWithoutChaptersGivesTheBookOfTheOneCallConversion) {
  kavtest::ScopedEnv epoch("SOURCE_DATE_EPOCH", "1700000000");
  const std::string plain = dir_ / "plain.epub", txt = dir_ / "copy.txt";
  const std::string texts[] = {"", "one line", Repeat("a line\n", 61),
                               "Chapter 1\n" + Repeat("x", 600) + "\n" + Repeat("\u4e2d", 3000)};
  for (const std::string& text : texts) {
    for (const char* chapters : {"auto", "off"}) {
      if (std::string(chapters) == "auto" && text.rfind("Chapter", 0) == 0) continue;
      ASSERT_EQ(KAV_OK,
                Convert(text, {{"title", ""}, {"language", "en"}, {"chapters", chapters}}, epub_));
      kavtest::WriteFile(txt, text);
      TEpubService* service = CreateEpubService();
      ASSERT_EQ(KAV_OK, service->Txt2Epub(txt.c_str(), plain.c_str(), dir_.path().c_str(), "", "",
                                          nullptr, nullptr));
      FreeEpubService(service);
      EXPECT_TRUE(kavtest::ReadFile(plain) == kavtest::ReadFile(epub_)) << text.size() << chapters;
    }
  }
}

// The tool's path keeps every character a page boundary cuts, chaptered or
// not; the last case also through kav-epub itself.
TEST_F(TextBook, KeepsEveryCharacterWithChaptersAndWithout) {
  for (const std::string character : {"\u4e2d", "\U0001F600"}) {
    for (int pad = 251; pad <= 254; ++pad) {
      const std::string text =
          "Chapter 1\n" + Repeat("a\n", 58) + Repeat("x", pad) + Repeat(character, 3000) + "\n";
      for (const char* chapters : {"auto", "off", "tool"}) {
        if (std::string(chapters) != "tool") {
          ASSERT_EQ(KAV_OK, Convert(text, {{"chapters", chapters}}, epub_));
        } else if (pad == 254 && character.size() == 4) {
          std::string output;
          ASSERT_EQ(0, kave2e::KavEpub("", "txt '" + txt_ + "' '" + epub_ + "' -q", &output))
              << output;
        } else {
          continue;
        }
        std::string all;
        for (const auto& [name, entry] : kave2e::ReadBook(epub_))
          if (name.rfind("OEBPS/page-", 0) == 0) all += entry.data;
        size_t count = 0;
        for (size_t at = all.find(character); at != std::string::npos;
             at = all.find(character, at + 1))
          ++count;
        EXPECT_EQ(std::make_pair(size_t{3000}, std::string::npos),
                  std::make_pair(count, all.find("\uFFFD")))
            << character.size() << " bytes, pad " << pad << ", chapters " << chapters;
      }
    }
  }
}

TEST_F(TextBook, ExtensionCallsGiveTheirCodes) {
  KavBookOptions* options = KavOptionsCreate();
  char message[128] = "unset";
  size_t offset = 99;
  const std::tuple<int, int> cases[] = {
      {KAV_ERR_NULL_HANDLE, KavOptionsSet(nullptr, "title", "x")},
      {KAV_ERR_UNKNOWN_OPTION, KavOptionsSet(options, "colour", "red")},
      {KAV_ERR_BAD_LANGUAGE, KavOptionsSet(options, "language", "english please")},
      {KAV_ERR_BAD_LANGUAGE, KavOptionsSet(options, "language", "e")},
      {KAV_OK, KavOptionsSet(options, "language", "zh-Hant")},
      {KAV_ERR_BAD_PATTERN, KavOptionsSet(options, "chapters", "(unclosed")},
      {KAV_ERR_BAD_OPTION, KavOptionsSet(options, "encoding", "")},
      {KAV_ERR_BAD_PATTERN, KavCheckChapterPattern("ab[c", message, sizeof message, &offset)},
      {KAV_ERR_NULL_HANDLE, KavEpubSetLanguage(nullptr, "en")},
      {KAV_ERR_NULL_HANDLE, KavEpubSetPageHeading(nullptr, "x")},
      {KAV_ERR_NULL_HANDLE, KavEpubSetPageListed(nullptr, 0)},
      {KAV_ERR_NULL_HANDLE, KavEpubSetAccessible(nullptr, 1)},
      {KAV_ERR_ARGUMENT, KavEpubConvertText("", "b.epub", "/tmp", options, nullptr, nullptr)},
  };
  for (const auto& [expected, code] : cases) EXPECT_EQ(expected, code);
  EXPECT_EQ(std::make_pair(std::string("missing terminating ] for character class"), size_t{4}),
            std::make_pair(std::string(message), offset));
  kavtest::WriteFile(txt_, "abc\n");
  EXPECT_EQ(KAV_ERR_UNKNOWN_ENCODING,
            (KavOptionsSet(options, "encoding", "KLINGON"),
             KavEpubConvertText(txt_.c_str(), epub_.c_str(), dir_.path().c_str(), options, nullptr,
                                nullptr)));
  KavOptionsFree(options);

  // Page settings on a record: no book, no page, then a page of each kind.
  TEpubService* service = CreateEpubService();
  EXPECT_EQ(KAV_ERR_NO_BUILDER, KavEpubSetPageHeading(service, "x"));
  EXPECT_EQ(KAV_ERR_NO_BUILDER, KavEpubSetImageCaption(service, "x"));
  const char* picture = "tests/data/mobi/src/figure1.png";
  ASSERT_EQ(KAV_OK, service->InitEpub(service->data, dir_.path().c_str(), "T", "A"));
  const std::tuple<int, int> paged[] = {
      {KAV_ERR_NO_OPEN_PAGE, KavEpubSetPageHeading(service, "x")},
      {KAV_ERR_NO_OPEN_PAGE, KavEpubSetPageListed(service, 0)},
      {KAV_ERR_BAD_LANGUAGE, KavEpubSetLanguage(service, "")},
      {KAV_OK, KavEpubSetAccessible(service, 1)},  // the language set next is the pages'
      {KAV_OK, KavEpubSetLanguage(service, "de-CH")},
      {KAV_OK, service->StartPage(service->data)},
      {KAV_OK, service->AddTextLineToPage(service->data, "Text first.\n")},
      {KAV_ERR_BAD_CAPTION, KavEpubSetImageCaption(service, "a\x01 lamp")},
      {KAV_ERR_BAD_CAPTION, KavEpubSetImageCaption(service, " \t\n")},
      {KAV_ERR_BAD_CAPTION, KavEpubSetImageCaption(service, "l\xE4mp")},  // Latin-1
      {KAV_OK, KavEpubSetImageCaption(service, "A <b>lamp</b> &amp; \"wick\",\n lit")},
      {KAV_OK, service->AddImageToPage(service->data, picture)},
      {KAV_OK, KavEpubSetPageHeading(service, "Draft")},
      {KAV_OK, KavEpubSetPageHeading(service, "Tom & Jerry")},  // replaces
      {KAV_OK, service->EndPage(service->data)},
      {KAV_OK, service->StartPage(service->data)},
      {KAV_OK, KavEpubSetPageListed(service, 0)},
      {KAV_OK, service->EndPage(service->data)},
      {KAV_OK, service->StartPage(service->data)},  // the second point, by number
      {KAV_OK, service->EndPage(service->data)},
      {KAV_OK, KavEpubSetImageCaption(service, "Again")},
      {KAV_ERR_MISSING, service->AddImageToEpub(service->data, "missing.png")},  // used up
      {KAV_OK, service->AddImageToEpub(service->data, picture)},
      {KAV_OK, service->GenerateEpub(service->data, epub_.c_str())},
  };
  for (size_t i = 0; i < std::size(paged); ++i)
    EXPECT_EQ(std::get<0>(paged[i]), std::get<1>(paged[i])) << i;
  FreeEpubService(service);
  auto book = kave2e::ReadBook(epub_);
  EXPECT_EQ((Strings{"Tom & Jerry", "2", "3"}),  // the picture's page is the third point
            kave2e::XPathTexts(book["OEBPS/toc.ncx"].data, "//ncx:navLabel"));
  EXPECT_EQ((Strings{"Tom & Jerry"}),
            kave2e::XPathTexts(book["OEBPS/page-1.html"].data, "//x:body/*[1]"));
  EXPECT_EQ((Strings{"de-CH"}),
            kave2e::XPathTexts(book["OEBPS/content.opf"].data, "//dc:language"));
  const char* const access = "/x:html/@xml:lang | //x:title";
  EXPECT_EQ((Strings{"de-CH", "Tom & Jerry"}),
            kave2e::XPathTexts(book["OEBPS/page-1.html"].data, access));
  EXPECT_EQ((Strings{"de-CH", "T, page 3"}),
            kave2e::XPathTexts(book["OEBPS/page-3.html"].data, access));
  // A caption is the picture's alt text, markup kept as text; the one a
  // failed call used up describes no later picture.
  EXPECT_EQ((Strings{"A <b>lamp</b> &amp; \"wick\", lit", ""}),
            (Strings{kave2e::XPathTexts(book["OEBPS/page-1.html"].data, "//x:img/@alt").at(0),
                     kave2e::XPathTexts(book["OEBPS/page-4.html"].data, "//x:img/@alt").at(0)}));
  const Strings said = kave2e::XPathTexts(
      book["OEBPS/content.opf"].data,
      "//opf:meta[@content='alternativeText' or @name='schema:accessibilitySummary']/@content");
  ASSERT_EQ(1u, said.size()) << "not every picture is described";
  EXPECT_NE(std::string::npos, said[0].find("2 pictures, 1 of them with a description"));
}

}  // namespace

// With accessibility on, every page carries the book's language and a title
// of its own, the book's title is never empty nor broken by what a host
// handed in, and the package document says what the book holds.
TEST_F(TextBook, AccessibleBooksCarryLanguagesTitlesAndTheirMetadata) {
  const std::string tenKb = Repeat("Long title ", 931);
  const std::string chaptered = "Chapter 1\n" + Repeat("Rain fell.\n", 70) + "Chapter 2\nEnd.\n";
  const struct {
    std::string title, text, language, bookTitle;
    bool headings;
  } cases[] = {
      {"", chaptered, "en", "My Novel", true},  // an empty title: the file's name
      {"<b>Tom\x01 & Jerry</b>\t", Repeat("a line\n", 61), "en", "<b>Tom & Jerry</b>", false},
      {tenKb, "第一章 风起\n他走了。\n第二章\n好。\n", "zh", tenKb.substr(0, tenKb.size() - 1),
       true},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(KAV_OK, Convert(c.text,
                              {{"title", c.title.c_str()}, {"accessibility", "on"},
                               {"language", c.language.c_str()}},
                              epub_))
        << c.bookTitle;
    auto book = kave2e::ReadBook(epub_);
    const std::string& opf = book["OEBPS/content.opf"].data;
    EXPECT_EQ(Strings{c.bookTitle}, kave2e::XPathTexts(opf, "//dc:title"));
    const Strings features = kave2e::XPathTexts(
        opf, "//opf:meta[@name='schema:accessibilityFeature']/@content");
    EXPECT_EQ(c.headings, std::find(features.begin(), features.end(), "structuralNavigation") !=
                              features.end());
    EXPECT_EQ((Strings{"textual", "textual", "none"}),
              kave2e::XPathTexts(opf,
                                 "//opf:meta[@name='schema:accessMode' or "
                                 "@name='schema:accessModeSufficient' or "
                                 "@name='schema:accessibilityHazard']/@content"));
    const Strings summary =
        kave2e::XPathTexts(opf, "//opf:meta[@name='schema:accessibilitySummary']/@content");
    ASSERT_EQ(1u, summary.size());
    EXPECT_NE(std::string::npos, summary[0].find("in the language " + c.language));
    EXPECT_EQ(Strings{}, kave2e::XPathTexts(opf, "//opf:meta[@name='dcterms:conformsTo']"));
    int pages = 0;
    for (const auto& [name, entry] : book) {
      if (name.rfind("OEBPS/page-", 0) != 0) continue;
      ++pages;
      EXPECT_EQ((Strings{c.language, c.language}),
                kave2e::XPathTexts(entry.data, "/x:html/@xml:lang | /x:html/@lang"))
          << name;
      const Strings title = kave2e::XPathTexts(entry.data, "//x:title");
      const Strings heading = kave2e::XPathTexts(entry.data, "//x:h2");
      ASSERT_EQ(1u, title.size());
      EXPECT_EQ(heading.empty() ? c.bookTitle + ", page " + name.substr(11, name.size() - 16)
                                : heading[0],
                title[0])
          << name;
    }
    EXPECT_NE(std::string::npos, summary[0].find(std::to_string(pages) + " pages"));
    kave2e::ExpectOnlyFindings(epub_, kave2e::kUsualFindings);
  }
  KavBookOptions* options = KavOptionsCreate();
  EXPECT_EQ(KAV_ERR_BAD_OPTION, KavOptionsSet(options, "accessibility", "yes"));
  EXPECT_EQ(KAV_ERR_BAD_OPTION, KavOptionsSet(options, "conforms-to", "EPUB\x01"));
  KavOptionsFree(options);
}
