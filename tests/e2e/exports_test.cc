// The shared library exports its interface and nothing else.

#include <stdio.h>

#include <regex>
#include <set>
#include <string>

#include "support/test_support.h"

namespace {

std::set<std::string> ExportedNames() {
  std::set<std::string> names;
  std::string command = "nm -D --defined-only --demangle '" + kavtest::BuildPath("libKav_Epub.so") + "'";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return names;
  char line[4096];
  while (fgets(line, sizeof line, pipe) != nullptr) {
    std::string text = line;
    if (!text.empty() && text.back() == '\n') text.pop_back();
    // "0000000000012345 T Name(args)"
    size_t space = text.find(' ', text.find(' ') + 1);
    if (space != std::string::npos) names.insert(text.substr(space + 1));
  }
  pclose(pipe);
  return names;
}

TEST(Exports, OnlyTheInterfaceIsExported) {
  std::set<std::string> names = ExportedNames();
  ASSERT_FALSE(names.empty());
  const std::regex allowed(
      R"(^(CreateEpubService|FreeEpubService|GetEpubCopyright|kCssRes|kXhtml1StrictDtd)$|)"
      R"(^(EpubBase|EpubManagement|XMLFile|XMLBase)::|)"
      R"(^(typeinfo|typeinfo name|vtable) for XMLBase$|)"
      R"(^(GetPageNumForTXT|CopyFile|CopyFileOrDir|MoveDir|GetFileOrDirFromPath|CreateFile)\()");
  for (const std::string& name : names) {
    EXPECT_TRUE(std::regex_search(name, allowed)) << "exported but not part of the interface: " << name;
  }
  for (const char* required :
       {"CreateEpubService", "FreeEpubService", "GetEpubCopyright", "kCssRes", "kXhtml1StrictDtd",
        "GetPageNumForTXT(char const*)", "CopyFile(char const*, char const*)",
        "CreateFile(char const*)", "vtable for XMLBase"}) {
    EXPECT_EQ(1u, names.count(required)) << "missing export: " << required;
  }
}

}  // namespace
