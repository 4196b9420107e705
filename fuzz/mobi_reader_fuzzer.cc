// The MOBI reader on arbitrary bytes: open, extract and the metadata.
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
  if (reader->Open(reader->handle, mobiPath.c_str()) == 0) {
    reader->ExtractHtml(reader->handle, (work + "/out/tmp.html").c_str());
    std::free(reader->GetTitle(reader->handle));
    std::free(reader->GetAuthor(reader->handle));
    std::free(reader->GetCoverImage(reader->handle));
  }
  reader->Close(reader->handle);
  FreeMobiService(reader);
  return 0;
}
