// The MOBI 6 link rebuild against libmobi's own, on a book made of the input:
// the reader opens it both ways, and the open must end alike (a salvaged book
// when the rebuild fails) with the same parts. The first byte: bit 0 reads
// the table of contents, bit 1 adds pictures, bit 2 takes the input as a
// whole book file instead; the next byte the number of NCX entries (0 to 5),
// six bytes each (position in two, level, parent, first and last child; 255
// leaves a link out); the rest is the text.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_workdir.h"
#include "fuzz/mobi6_book.h"
#include "platform/mobi/mobi_book.h"
#include "platform/mobi/quiet_libxml2.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const uint8_t flags = data[0];
  std::string book;
  if ((flags & 4) != 0) {
    book.assign(reinterpret_cast<const char*>(data + 1), size - 1);
  } else {
    size_t at = 1;
    const size_t count = data[at++] % 6;
    std::vector<kav_fuzz::Mobi6NcxEntry> ncx;
    auto link = [count](uint8_t b) { return b == 255 ? -1 : static_cast<int>(b % (count + 1)); };
    for (size_t i = 0; i < count && at + 6 <= size; ++i, at += 6) {
      kav_fuzz::Mobi6NcxEntry e;
      e.position = static_cast<uint32_t>(data[at] | data[at + 1] << 8);
      e.level = data[at + 2] % 3;
      e.parent = link(data[at + 3]);
      e.firstChild = link(data[at + 4]);
      e.lastChild = link(data[at + 5]);
      ncx.push_back(e);
    }
    std::vector<std::string> pictures;
    if ((flags & 2) != 0) pictures = {"GIF89a-picture", "not a picture", "\x89PNG\r\n\x1a\n"};
    book = kav_fuzz::Mobi6Book(std::string(reinterpret_cast<const char*>(data + at), size - at),
                               pictures, ncx);
  }
  const std::string path = kav_fuzz::FreshWorkDir() + "/book.mobi";
  kav_fuzz::WriteBytes(path, reinterpret_cast<const uint8_t*>(book.data()), book.size());

  kavmobi::QuietLibxml2 quiet;
  kavmobi::MobiBook ours, libmobis;
  ours.SetReadToc((flags & 1) != 0);
  libmobis.SetReadToc((flags & 1) != 0);
  libmobis.SetLibmobiLinks(true);
  if (ours.Open(path.c_str()) != libmobis.Open(path.c_str())) abort();
  if (ours.IsOpen() != libmobis.IsOpen()) abort();
  if (!kav_fuzz::PartsDifference(ours.Rawml(), libmobis.Rawml()).empty()) abort();
  return 0;
}
