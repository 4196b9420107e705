#ifndef KAV_EPUB_CLI_OPTIONS_H_
#define KAV_EPUB_CLI_OPTIONS_H_

#include <map>
#include <string>
#include <vector>

namespace kavcli {

// One option of a command, as its --help shows it and the parser reads it.
struct OptionDef {
  const char* name;   // the long spelling without "--"
  char letter;        // a one-letter spelling ("-j 4", "-j4"), or '\0'
  const char* value;  // what its value is called in the help, or null for a flag
  const char* help;
};

// A subcommand's arguments: positional words and --name VALUE options
// (also --name=VALUE). Flags are options without a value; they are present
// with an empty value.
struct Options {
  std::vector<std::string> positional;
  std::map<std::string, std::string> values;
  bool quiet = false;  // the flag "quiet"

  bool Has(const std::string& name) const { return values.count(name) != 0; }
  const char* Get(const std::string& name, const char* fallback) const;
};

// Parses argv[first..argc) against defs. "--" ends the options. On an
// unknown or incomplete option it returns false with error set.
bool ParseOptions(int argc, char** argv, int first, const std::vector<OptionDef>& defs,
                  Options* options, std::string* error);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_OPTIONS_H_
