// kav-epub txt with text in the encodings people's files come in: the book
// holds the same text as the UTF-8 original, or the tool names the first
// byte it cannot read and writes nothing.

#include <string>

#include "e2e/book_checks.h"
#include "support/test_support.h"

namespace {

// Every paragraph of every page of a book, in one string.
std::string BookText(const std::string& epub) {
  std::string text;
  for (const auto& entry : kave2e::ReadBook(epub)) {
    if (entry.first.find("OEBPS/page-") != 0) continue;
    for (const std::string& p : kave2e::XPathTexts(entry.second.data, "//x:p")) text += p + "\n";
  }
  return text;
}

using Encodings = kave2e::KavEpubTest;

const char kFrench[] =
    "Le garçon de l'horloger ouvrait la boutique chaque matin. « Où est le ressort ? » "
    "demanda-t-il à l'élève déçu ; ça coûte très cher, répondit la maîtresse.";

TEST_F(Encodings, EachEncodingDetectedOrNamedGivesABookWithTheOriginalText) {
  const struct {
    const char* name;
    const char* encoding;
    std::string bom;
    std::string text;
    const char* options = "";
  } cases[] = {
      {"gb18030", "GB18030", "",
       "从前有一座山，山上有一座庙。钟表匠的学徒每天早上都会打开店门，擦亮每一个齿轮。"},
      {"big5", "BIG5", "",
       "從前有一座山，山上有一座廟。鐘錶匠的學徒每天早上都會打開店門，擦亮每一個齒輪。"},
      {"shift_jis", "SHIFT_JIS", "",
       "昔々、ある山の上に小さな時計屋がありました。見習いの少年は毎朝、歯車を磨きました。"},
      {"windows-1252", "WINDOWS-1252", "", kFrench},
      {"utf-16le-bom", "UTF-16LE", "\xFF\xFE", kFrench},
      {"utf-16be-no-bom", "UTF-16BE", "", "鐘錶匠的學徒 — the apprentice"},
      {"utf-8-bom", "UTF-8", "\xEF\xBB\xBF", kFrench},
      // A few short lines of Cyrillic are too little to guess from.
      {"named-windows-1251", "WINDOWS-1251", "", "Часовщик и ученик.", "--encoding CP1251"},
  };
  for (const auto& c : cases) {
    // The text repeated so that the guess has enough to go on, after the mark.
    std::string lines, output;
    for (int i = 0; i < 12; ++i) lines += c.text + "\n";
    kavtest::WriteFile(dir_ / "utf8.txt", lines);
    const std::string input = dir_ / (std::string(c.name) + ".txt"), epub = input + ".epub";
    kavtest::WriteFile(input, c.bom);
    ASSERT_EQ(0, kave2e::RunCommand("iconv -f UTF-8 -t " + std::string(c.encoding) + " '" +
                                        dir_ / "utf8.txt" + "' >> '" + input + "'",
                                    &output));
    ASSERT_EQ(0, Run("txt '" + input + "' '" + epub + "' " + c.options, &output)) << c.name << "\n"
                                                                                  << output;
    const std::string text = BookText(epub);
    EXPECT_EQ(0u, text.find(c.text)) << c.name << ": no mark or stray byte before it\n"
                                     << text.substr(0, 300);
  }
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty()) << "the UTF-8 copies are removed";
}

TEST_F(Encodings, UnreadableTextNamesTheFirstBadByteAndWritesNoBook) {
  // Valid UTF-8 well past the part that the guess reads, then a stray byte.
  const std::string valid(100000, 'a');
  std::string lines;
  for (size_t i = 0; i < valid.size(); i += 80) lines += valid.substr(i, 79) + "\n";
  const struct {
    std::string content;
    std::string options;
    std::string message;
  } cases[] = {
      {lines + "caf\xFF\n", "",
       "byte 0xFF at offset " + std::to_string(lines.size() + 3) + " is not valid UTF-8"},
      {"ok\n\x81\x20\n", "--encoding GB18030", "byte 0x81 at offset 3 is not valid GB18030"},
      {"abc\xE4\xB8", "--encoding utf-8", "ends inside a character at offset 3"},
      {"abc\n", "--encoding KLINGON", "unknown text encoding 'KLINGON'"},
  };
  for (const auto& c : cases) {
    kavtest::WriteFile(dir_ / "bad.txt", c.content);
    std::string output;
    EXPECT_EQ(
        1, Run("txt '" + dir_ / "bad.txt" + "' '" + dir_ / "bad.epub" + "' " + c.options, &output));
    EXPECT_NE(std::string::npos, output.find(c.message)) << output;
    EXPECT_EQ(1u, kavtest::Lines(output).size() - 1) << "one line\n" << output;
    EXPECT_FALSE(kavtest::Exists(dir_ / "bad.epub"));
  }
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty());
}

}  // namespace
