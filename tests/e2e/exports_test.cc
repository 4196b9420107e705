// The shared library exports its interface and nothing else.

#include <regex>
#include <set>
#include <string>

#include "e2e/book_checks.h"

namespace {

TEST(Exports, OnlyTheInterfaceIsExported) {
  std::string listing;
  ASSERT_EQ(0, kave2e::RunCommand(
                   "nm -D --defined-only --demangle '" + kavtest::BuildPath("libKav_Epub.so") + "'",
                   &listing));
  std::set<std::string> names;
  for (const std::string& line : kavtest::Lines(listing)) {
    // "0000000000012345 T Name(args)"
    size_t space = line.find(' ', line.find(' ') + 1);
    if (space != std::string::npos) names.insert(line.substr(space + 1));
  }
  ASSERT_FALSE(names.empty());
  const std::regex allowed(
      R"(^(CreateEpubService|FreeEpubService|GetEpubCopyright|kCssRes|kXhtml1StrictDtd)$|)"
      R"(^Kav(OptionsCreate|OptionsFree|OptionsSet|EpubSetLanguage|EpubSetPageHeading|)"
      R"(EpubSetPageListed|EpubSetAccessible|EpubConvertText|EpubConvertMobi|CheckChapterPattern|)"
      R"(IsChapterHeading|GuessLanguage|HtmlTitle|HtmlTitleIn|CheckTextEncoding|)"
      R"(EpubSetHtmlEncoding|EpubSetImageCaption|HtmlBookTitle)$|)"
      R"(^(EpubBase|EpubManagement|XMLFile|XMLBase)::|)"
      R"(^(typeinfo|typeinfo name|vtable) for XMLBase$|)"
      R"(^(GetPageNumForTXT|CopyFile|CopyFileOrDir|MoveDir|GetFileOrDirFromPath|CreateFile)\()");
  for (const std::string& name : names) {
    EXPECT_TRUE(std::regex_search(name, allowed))
        << "exported but not part of the interface: " << name;
  }
  for (const char* required :
       {"CreateEpubService", "FreeEpubService", "GetEpubCopyright", "kCssRes", "kXhtml1StrictDtd",
        "GetPageNumForTXT(char const*)", "CopyFile(char const*, char const*)",
        "CreateFile(char const*)", "vtable for XMLBase", "KavOptionsSet", "KavEpubConvertText"}) {
    EXPECT_EQ(1u, names.count(required)) << "missing export: " << required;
  }
}

}  // namespace
