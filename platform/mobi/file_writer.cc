#include "platform/mobi/file_writer.h"

#include <stdio.h>

namespace kavmobi {

bool WriteFileAtomically(const std::string& path, const void* data, size_t size) {
  std::string temporary = path + ".partial";
  FILE* file = fopen(temporary.c_str(), "wb");
  if (file == nullptr) return false;
  bool written = size == 0 || fwrite(data, 1, size, file) == size;
  // fclose flushes: its result counts as much as fwrite's.
  written = fclose(file) == 0 && written;
  if (written && rename(temporary.c_str(), path.c_str()) == 0) return true;
  remove(temporary.c_str());
  return false;
}

}  // namespace kavmobi
