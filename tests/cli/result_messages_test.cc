// Every result code declared in a header has a message in kav-epub: the
// headers are read as text, so a code added later without a message fails.

#include "cli/result_messages.h"

#include <regex>
#include <string>

#include "support/test_support.h"

namespace {

TEST(ResultMessages, EveryDeclaredCodeHasAMessage) {
  const char* headers[] = {"service/kav_result.h", "platform/ebase/kav_ebase.h",
                           "platform/mobi/kav_mobi.h"};
  // "  NAME = 401," in the enum, "#define NAME 621" in the companions.
  const std::regex code(
      R"((?:^\s*([A-Z_]+)\s*=\s*(-?[0-9]+)\s*,)|(?:^#define\s+([A-Z_]+)\s+\(?(-?[0-9]+)\)?))");
  int seen = 0;
  for (const char* header : headers) {
    for (const std::string& line : kavtest::Lines(kavtest::ReadFile(kavtest::SourcePath(header)))) {
      std::smatch m;
      if (!std::regex_search(line, m, code)) continue;
      std::string name = m[1].matched ? m[1].str() : m[3].str();
      int value = std::stoi(m[2].matched ? m[2].str() : m[4].str());
      if (value == 0) continue;  // success needs no message
      ++seen;
      EXPECT_NE(nullptr, kavcli::ResultMessage(value)) << header << ": " << name << " = " << value;
    }
  }
  EXPECT_GE(seen, 17);
  EXPECT_EQ(nullptr, kavcli::ResultMessage(0));
  EXPECT_EQ(nullptr, kavcli::ResultMessage(123456));
}

}  // namespace
