#ifndef KAV_EPUB_PLATFORM_MOBI_FILE_WRITER_H_
#define KAV_EPUB_PLATFORM_MOBI_FILE_WRITER_H_

#include <stddef.h>

#include <string>

namespace kavmobi {

// Writes data to path through a temporary file beside it that is renamed
// into place, so that path never holds a half-written file; false on any
// failure, after which the temporary file is gone.
bool WriteFileAtomically(const std::string& path, const void* data, size_t size);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_FILE_WRITER_H_
