// SOURCE_DATE_EPOCH stands in for the clock of the time stamps.

#include <stdlib.h>
#include <time.h>

#include <string>

#include "platform/tool/kav_tool.h"
#include "support/test_support.h"

namespace {

std::string Stamp() {
  char* text = KavGetLocalCurrentTime("%Y%m%d%H%M%S", 16);
  std::string copy = text == nullptr ? "(null)" : text;
  free(text);
  return copy;
}

std::string LocalStamp(time_t at) {
  char text[16];
  struct tm fields;
  strftime(text, sizeof(text), "%Y%m%d%H%M%S", localtime_r(&at, &fields));
  return text;
}

// Nine hours east of UTC, so that a local reading and a UTC one differ.
TEST(SourceDateEpoch, ValidValueIsFormattedInUtcElseTheLocalClockIsUsed) {
  kavtest::ScopedEnv zone("TZ", "UTC-9");
  const struct {
    const char* value;
    const char* stamp;  // null: the local clock
  } rows[] = {{"1700000000", "20231114221320"},
              {"0", "19700101000000"},
              {"000000001700000000", "20231114221320"},
              {nullptr, nullptr},
              {"", nullptr},
              {"-1", nullptr},
              {" 1700000000", nullptr},
              {"1700000000.5", nullptr},
              {"17e8", nullptr},
              {"1234567890123456789", nullptr},  // more than a time_t is given
              {"999999999999999999", nullptr}};  // no calendar year holds it
  for (const auto& row : rows) {
    kavtest::ScopedEnv epoch("SOURCE_DATE_EPOCH", row.value);
    const time_t before = time(nullptr);
    const std::string stamp = Stamp();
    const time_t after = time(nullptr);
    const char* value = row.value != nullptr ? row.value : "(unset)";
    if (row.stamp != nullptr) {
      EXPECT_EQ(row.stamp, stamp) << value;
    } else {
      EXPECT_TRUE(stamp == LocalStamp(before) || stamp == LocalStamp(after))
          << value << ": " << stamp;
    }
  }
}

}  // namespace
