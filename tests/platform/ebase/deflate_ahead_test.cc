#include "platform/ebase/deflate_ahead.h"

#include <errno.h>
#include <libdeflate.h>
#include <zip.h>

#include <random>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace {

std::string Inflate(const std::vector<unsigned char>& stream, size_t size) {
  std::string out(size, '\0');
  libdeflate_decompressor* decompressor = libdeflate_alloc_decompressor();
  size_t got = 0;
  const libdeflate_result r = libdeflate_deflate_decompress(
      decompressor, stream.data(), stream.size(), out.data(), out.size(), &got);
  libdeflate_free_decompressor(decompressor);
  return r == LIBDEFLATE_SUCCESS ? out.substr(0, got) : "(not a deflate stream)";
}

// Files of every size, one missing and one cut to the size it had when it
// was listed, taken mostly in order but some ahead of their turn and after
// the thread has passed them; many rounds, as the threads meet differently
// each time.
TEST(DeflateAhead, EveryFileComesOutWholeInAnyOrderOfTakingAndFailuresStayWithTheirFile) {
  kavtest::TempDir dir;
  std::mt19937 random(7);
  std::vector<kav_ebase::DeflateAhead::Input> inputs;
  std::vector<std::string> expected;
  for (int i = 0; i < 40; ++i) {
    std::string text;
    const size_t size = i == 3 ? 0 : random() % (i % 7 == 0 ? (3 << 20) : 20000);
    while (text.size() < size) text += "word" + std::to_string(random() % 500) + " ";
    const std::string path = dir / ("f" + std::to_string(i));
    kavtest::WriteFile(path, text);
    const uint64_t listed = i == 9 ? text.size() / 2 : text.size();
    inputs.push_back({i == 12 ? dir / "missing" : path, listed});
    expected.push_back(text.substr(0, listed));
  }
  const std::vector<size_t> order = {0,  1,  2,  5,  3,  4,  6,  7,  8,  20, 9,  10, 11, 12,
                                     13, 14, 15, 16, 17, 18, 19, 21, 22, 39, 23, 24, 25, 26,
                                     27, 28, 29, 30, 31, 32, 33, 34, 35, 36, 37, 38};
  for (int round = 0; round < 5; ++round) {
    kav_ebase::DeflateAhead ahead(inputs, 7);
    for (size_t index : order) {
      kav_ebase::DeflatedFile file;
      const bool taken = ahead.Take(index, &file);
      if (index == 12) {
        EXPECT_FALSE(taken);
        EXPECT_EQ(ZIP_ER_OPEN, file.zipError);
        EXPECT_EQ(ENOENT, file.systemError);
        continue;
      }
      ASSERT_TRUE(taken) << index;
      EXPECT_EQ(expected[index].size(), file.size) << index;
      EXPECT_EQ(libdeflate_crc32(0, expected[index].data(), expected[index].size()), file.crc);
      EXPECT_EQ(expected[index], Inflate(file.stream, file.size)) << index;
    }
    kav_ebase::DeflatedFile again;
    EXPECT_FALSE(ahead.Take(5, &again)) << "each file is taken once";
  }
  // Dropped half way, with the thread still deflating: it stops and joins.
  kav_ebase::DeflateAhead dropped(inputs, 7);
  kav_ebase::DeflatedFile first;
  EXPECT_TRUE(dropped.Take(0, &first));
}

}  // namespace
