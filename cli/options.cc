#include "cli/options.h"

namespace kavcli {

const char* Options::Get(const std::string& name, const char* fallback) const {
  auto found = values.find(name);
  return found == values.end() ? fallback : found->second.c_str();
}

bool ParseOptions(int argc, char** argv, int first, const std::vector<OptionDef>& defs,
                  Options* options, std::string* error) {
  bool onlyPositional = false;
  for (int i = first; i < argc; ++i) {
    const std::string word = argv[i];
    if (onlyPositional || word.size() < 2 || word[0] != '-') {
      options->positional.push_back(word);
      continue;
    }
    if (word == "--") {
      onlyPositional = true;
      continue;
    }
    const bool isLong = word[1] == '-';
    // "--name=value", "--name", "-x value" or "-xvalue" (as make and xargs
    // users type "-j4").
    const size_t equals = isLong ? word.find('=') : std::string::npos;
    const std::string name = isLong ? word.substr(2, equals - 2) : word.substr(1, 1);
    const OptionDef* def = nullptr;
    for (const OptionDef& s : defs) {
      if (isLong ? name == s.name : name[0] == s.letter) def = &s;
    }
    const bool attached = isLong ? equals != std::string::npos : word.size() > 2;
    if (def == nullptr || (def->value == nullptr && attached)) {
      *error = "unknown option " + word;
      return false;
    }
    std::string value;
    if (attached) {
      value = isLong ? word.substr(equals + 1) : word.substr(2);
    } else if (def->value != nullptr) {
      if (i + 1 >= argc) {
        *error = "option --" + std::string(def->name) + " needs a value";
        return false;
      }
      value = argv[++i];
    }
    options->values[def->name] = value;
  }
  options->quiet = options->Has("quiet");
  return true;
}

}  // namespace kavcli
