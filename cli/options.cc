#include "cli/options.h"

#include <algorithm>

namespace kavcli {

namespace {

// One-letter spellings of value options, as make and xargs users type them
// ("-j 4" or "-j4" for "--jobs 4").
std::string LongSpelling(const std::string& word) {
  if (word.compare(0, 2, "-j") == 0)
    return word.size() == 2 ? "--jobs" : "--jobs=" + word.substr(2);
  return word;
}

}  // namespace

const char* Options::Get(const std::string& name, const char* fallback) const {
  auto found = values.find(name);
  return found == values.end() ? fallback : found->second.c_str();
}

bool ParseOptions(int argc, char** argv, int first, const std::vector<std::string>& valueNames,
                  Options* options, std::string* error) {
  bool onlyPositional = false;
  for (int i = first; i < argc; ++i) {
    std::string word = onlyPositional ? argv[i] : LongSpelling(argv[i]);
    if (onlyPositional || word.size() < 2 || word[0] != '-') {
      options->positional.push_back(word);
      continue;
    }
    if (word == "--") {
      onlyPositional = true;
      continue;
    }
    if (word == "--quiet" || word == "-q") {
      options->quiet = true;
      continue;
    }
    std::string name = word.substr(2);
    std::string value;
    bool inlineValue = false;
    size_t equals = name.find('=');
    if (equals != std::string::npos) {
      value = name.substr(equals + 1);
      name = name.substr(0, equals);
      inlineValue = true;
    }
    // A name listed with a leading "!" is a flag: it takes no value.
    if (!inlineValue && word.compare(0, 2, "--") == 0 &&
        std::find(valueNames.begin(), valueNames.end(), "!" + name) != valueNames.end()) {
      options->values[name] = "";
      continue;
    }
    if (word.compare(0, 2, "--") != 0 ||
        std::find(valueNames.begin(), valueNames.end(), name) == valueNames.end()) {
      *error = "unknown option " + word;
      return false;
    }
    if (!inlineValue) {
      if (i + 1 >= argc) {
        *error = "option --" + name + " needs a value";
        return false;
      }
      value = argv[++i];
    }
    options->values[name] = value;
  }
  return true;
}

}  // namespace kavcli
