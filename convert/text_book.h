#ifndef KAV_EPUB_CONVERT_TEXT_BOOK_H_
#define KAV_EPUB_CONVERT_TEXT_BOOK_H_

#include <map>
#include <string>

#include "convert/progress_callback.h"

// The options of a whole-text conversion (service/kav_epub_ext.h): names
// and values as the host set them; an absent name has its default.
struct KavBookOptions {
  std::map<std::string, std::string> values;

  std::string Get(const std::string& name, const std::string& fallback) const {
    auto found = values.find(name);
    return found == values.end() ? fallback : found->second;
  }
};

namespace kav_convert {

// The file's name without its folder and extension.
std::string FileStem(const std::string& path);

// Checks an option's name and value: 0, KAV_ERR_UNKNOWN_OPTION, or the code
// of a value the option does not take.
int CheckBookOption(const std::string& name, const std::string& value);

// A whole text file into a book the way kav-epub txt makes it: decoded to
// UTF-8, chapters found, language guessed, titled after the file unless the
// options say otherwise (see service/kav_epub_ext.h). options may be null.
int ConvertTextBook(const char* txtPath, const char* epubPath, const char* workDir,
                    const KavBookOptions* options, void* user, ProgressCallback progress);

}  // namespace kav_convert

#endif  // KAV_EPUB_CONVERT_TEXT_BOOK_H_
