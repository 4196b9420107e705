#ifndef KAV_EPUB_CLI_OPTIONS_H_
#define KAV_EPUB_CLI_OPTIONS_H_

#include <map>
#include <string>
#include <vector>

namespace kavcli {

// A subcommand's arguments: positional words and --name VALUE options
// (also --name=VALUE). Flags are options without a value.
struct Options {
  std::vector<std::string> positional;
  std::map<std::string, std::string> values;
  bool quiet = false;

  bool Has(const std::string& name) const { return values.count(name) != 0; }
  const char* Get(const std::string& name, const char* fallback) const;
};

// Parses argv[first..argc). valueNames are the options that take a value
// ("!name": a flag without one);
// "--quiet"/"-q" is always known, and "-j N" is "--jobs N". On an unknown or incomplete option it
// returns false with error set.
bool ParseOptions(int argc, char** argv, int first, const std::vector<std::string>& valueNames,
                  Options* options, std::string* error);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_OPTIONS_H_
