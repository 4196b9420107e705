#include "builder/book_paths.h"

namespace kav_builder {

std::string PageFileName(int pageNum) { return "page-" + std::to_string(pageNum) + ".html"; }

std::string BaseName(const char* path) {
  if (path == nullptr) return std::string();
  std::string text(path);
  size_t separator = text.rfind('/');
  if (separator == std::string::npos) separator = text.rfind('\\');
  if (separator == std::string::npos) return text;
  return text.substr(separator + 1);
}

}  // namespace kav_builder
