#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "fileutil/file_util.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

namespace {

constexpr size_t kCopyBufferSize = 4096;

// Copies in fixed chunks until the source ends or a write comes up short.
void CopyStream(FILE* in, FILE* out) {
  char buffer[kCopyBufferSize];
  // The destination, opened for writing, never reports its end, so the
  // loop's own test never ends it: only the checks inside do.
  do {
    memset(buffer, 0, sizeof(buffer));
    size_t read = fread(buffer, 1, sizeof(buffer), in);
    // A source that fails to read (one swapped for a directory after it was
    // checked, say) never reaches its end; stop rather than spin.
    if (read == 0 && (feof(in) || ferror(in))) break;
    size_t written = fwrite(buffer, 1, read, out);
    if (written < read) break;
  } while (!feof(out));
}

}  // namespace

int CopyFile(const char* src, const char* dst) {
  if (KavIsStrNullOrEmpty(src) || KavIsStrNullOrEmpty(dst)) return KAV_ERR_MISSING;
  if (!KavIsFileExists(src)) return KAV_ERR_MISSING;

  std::string target = dst;
  char* parent = KavGetRunDirectory(dst);

  bool dstExists = KavIsFileOrDirExists(dst) != 0;
  if (dstExists && !KavIsFileExists(dst)) {
    // Into a directory: the copy keeps the source's own name.
    std::string name;
    std::string dir;
    GetFileOrDirFromPath(src, name, dir);
    target = std::string(dst) + "/" + name;
  }
  if (!dstExists && !KavIsFileOrDirExists(parent)) {
    free(parent);
    return KAV_ERR_NO_OUTPUT_DIR;
  }
  free(parent);

  FILE* in = fopen(src, "rb");
  if (in == nullptr) return KAV_ERR_OPEN;
  FILE* out = fopen(target.c_str(), "wb");
  if (out == nullptr) {
    fclose(in);
    return KAV_ERR_OPEN;
  }

  // A short write is not reported: what was written stays.
  CopyStream(in, out);
  fclose(in);
  fclose(out);
  return KAV_OK;
}
