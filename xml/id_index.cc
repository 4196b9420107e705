#include "xml/id_index.h"

namespace kav_xml {

namespace {

bool HasSeparator(const std::string& text) { return text.find_first_of("#|") != std::string::npos; }

}  // namespace

void IdIndex::Register(std::string& registry, std::vector<xmlNode*>& owners, const std::string& id,
                       xmlNode* owner) {
  registry += "#" + id + "|";
  owners.push_back(owner);
  owners_.insert(owner);
  if (HasSeparator(id)) separatorsOnly_ = false;
  ids_.insert(id);
}

bool IdIndex::HasIdKey(const std::string& registry, const std::string& id) const {
  // "#id|" can only begin at an entry's "#" and end at that entry's "|".
  if (separatorsOnly_ && !HasSeparator(id)) return ids_.count(id) != 0;
  return registry.find("#" + id + "|") != std::string::npos;
}

bool IdIndex::HasFragmentKey(const std::string& registry, const std::string& href) const {
  // "|href|" spans exactly one entry, "#" and its id, when href holds no
  // "|" of its own.
  if (separatorsOnly_ && href.find('|') == std::string::npos) {
    return !href.empty() && href[0] == '#' && ids_.count(href.substr(1)) != 0;
  }
  return registry.find("|" + href + "|") != std::string::npos;
}

}  // namespace kav_xml
