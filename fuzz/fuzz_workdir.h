#ifndef KAV_EPUB_FUZZ_FUZZ_WORKDIR_H_
#define KAV_EPUB_FUZZ_FUZZ_WORKDIR_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace kav_fuzz {

// This process's scratch directory: /dev/shm/kav-fuzz-<pid> (or under
// TMPDIR when /dev/shm is missing). Created on first use, removed at exit.
const std::string& WorkDir();
// Empties the scratch directory and returns it, so that no input sees the
// files of the one before.
const std::string& FreshWorkDir();
// Writes bytes to path, creating the directories on the way.
void WriteBytes(const std::string& path, const uint8_t* data, size_t size);
// The XHTML DTD copy the HTML clean-up validates against, written once.
const std::string& DtdPath();

}  // namespace kav_fuzz

#endif  // KAV_EPUB_FUZZ_FUZZ_WORKDIR_H_
