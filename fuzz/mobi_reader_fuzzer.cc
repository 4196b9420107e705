// The MOBI reader on arbitrary bytes: open, extract and the metadata; with the
// size odd, the table of contents too (its NCX index, else headings or page breaks).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz/fuzz_workdir.h"
#include "platform/mobi/kav_mobi.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& work = kav_fuzz::FreshWorkDir();
  const std::string mobiPath = work + "/book.mobi";
  kav_fuzz::WriteBytes(mobiPath, data, size);

  TMobiService* reader = CreateMobiService();
  if (reader == nullptr) return 0;
  const bool toc = size % 2 == 1;
  reader->SetReadToc(reader->handle, toc ? 1 : 0);
  if (reader->Open(reader->handle, mobiPath.c_str()) == 0) {
    reader->ExtractHtml(reader->handle, (work + "/out/tmp.html").c_str());
    TMobiTocEntry* entries = nullptr;
    size_t count = 0, flawed = 0;
    if (toc && reader->GetToc(reader->handle, &entries, &count, &flawed) == 0) {
      reader->FreeToc(entries, count);
    }
    std::free(reader->GetTitle(reader->handle));
    std::free(reader->GetAuthor(reader->handle));
    std::free(reader->GetCoverImage(reader->handle));
  }
  reader->Close(reader->handle);
  FreeMobiService(reader);
  return 0;
}
