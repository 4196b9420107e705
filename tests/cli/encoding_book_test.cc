// kav-epub txt with text in the encodings people's files come in: the book
// holds the same text as the UTF-8 original, or the tool names the first
// byte it cannot read and writes nothing.

#include <string>
#include <tuple>

#include "e2e/book_checks.h"

namespace {

using Encodings = kave2e::KavEpubTest;

const char kFrench[] =
    "Le garçon de l'horloger ouvrait la boutique chaque matin. « Où est le ressort ? » "
    "demanda-t-il à l'élève déçu ; ça coûte très cher, répondit la maîtresse.";

TEST_F(Encodings, EachEncodingDetectedOrNamedGivesABookWithTheOriginalText) {
  const struct {
    const char* name;
    std::string encoding, bom, text;
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
  const std::string utf8 = dir_ / "utf8.txt";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    // The text repeated so that the guess has enough to go on, after the mark.
    std::string lines, bytes = c.bom, output;
    for (int i = 0; i < 12; ++i) lines += c.text + "\n";
    kavtest::WriteFile(utf8, lines);
    ASSERT_EQ(0, kave2e::RunCommand("iconv -f UTF-8 -t " + c.encoding + " '" + utf8 + "'", &bytes));
    const std::string input = dir_ / c.name + ".txt", epub = input + ".epub";
    kavtest::WriteFile(input, bytes);
    ASSERT_EQ(0, Run("txt '" + input + "' '" + epub + "' " + c.options, &output)) << output;
    const kave2e::Strings first =
        kave2e::XPathTexts(kave2e::ReadBook(epub)["OEBPS/page-1.html"].data, "(//x:p)[1]");
    EXPECT_EQ(0u, first.empty() ? std::string::npos : first[0].find(c.text))
        << "no mark or stray byte before it: " << (first.empty() ? "" : first[0]);
  }
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty()) << "the UTF-8 copies are removed";
}

TEST_F(Encodings, UnreadableTextNamesTheFirstBadByteAndWritesNoBook) {
  // Valid UTF-8 well past the part that the guess reads, then a stray byte.
  std::string lines;
  for (int i = 0; i < 1250; ++i) lines += std::string(79, 'a') + "\n";
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {lines + "caf\xFF\n", "",
       "byte 0xFF at offset " + std::to_string(lines.size() + 3) + " is not valid UTF-8"},
      {"ok\n\x81\x20\n", "--encoding GB18030", "byte 0x81 at offset 3 is not valid GB18030"},
      {"abc\xE4\xB8", "--encoding utf-8", "ends inside a character at offset 3"},
      {"abc\n", "--encoding KLINGON", "unknown text encoding 'KLINGON'"},
  };
  const std::string bad = dir_ / "bad.txt", epub = dir_ / "bad.epub";
  for (const auto& [content, options, message] : cases) {
    kavtest::WriteFile(bad, content);
    std::string output;
    EXPECT_EQ(1, Run("txt '" + bad + "' '" + epub + "' " + options, &output));
    EXPECT_TRUE(output.find(message) != std::string::npos && kavtest::Lines(output).size() == 2)
        << "the message, on one line:\n"
        << output;
    EXPECT_FALSE(kavtest::Exists(epub));
  }
  EXPECT_TRUE(kavtest::ListFiles(tmp_).empty());
}

}  // namespace
