#include "xml/id_index.h"

#include <algorithm>

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
  return Contains(registry, "#" + id + "|");
}

bool IdIndex::HasFragmentKey(const std::string& registry, const std::string& href) const {
  // "|href|" spans exactly one entry, "#" and its id, when href holds no
  // "|" of its own.
  if (separatorsOnly_ && href.find('|') == std::string::npos) {
    return !href.empty() && href[0] == '#' && ids_.count(href.substr(1)) != 0;
  }
  return Contains(registry, "|" + href + "|");
}

int32_t IdIndex::Next(int32_t state, unsigned char c) const {
  const auto& next = states_[state].next;
  auto found = std::lower_bound(next.begin(), next.end(), std::make_pair(c, int32_t{-1}));
  return found != next.end() && found->first == c ? found->second : -1;
}

void IdIndex::SetNext(int32_t state, unsigned char c, int32_t target) const {
  auto& next = states_[state].next;
  auto found = std::lower_bound(next.begin(), next.end(), std::make_pair(c, int32_t{-1}));
  if (found != next.end() && found->first == c) {
    found->second = target;
  } else {
    next.insert(found, std::make_pair(c, target));
  }
}

// The usual online construction: one character at a time, amortised
// constant work each.
void IdIndex::Extend(unsigned char c) const {
  const auto current = static_cast<int32_t>(states_.size());
  states_.push_back(State{states_[lastState_].length + 1, -1, {}});
  int32_t p = lastState_;
  while (p != -1 && Next(p, c) == -1) {
    SetNext(p, c, current);
    p = states_[p].link;
  }
  if (p == -1) {
    states_[current].link = 0;
  } else {
    const int32_t q = Next(p, c);
    if (states_[p].length + 1 == states_[q].length) {
      states_[current].link = q;
    } else {
      const auto clone = static_cast<int32_t>(states_.size());
      State copy{states_[p].length + 1, states_[q].link, states_[q].next};
      states_.push_back(std::move(copy));
      while (p != -1 && Next(p, c) == q) {
        SetNext(p, c, clone);
        p = states_[p].link;
      }
      states_[q].link = clone;
      states_[current].link = clone;
    }
  }
  lastState_ = current;
}

bool IdIndex::Contains(const std::string& registry, const std::string& text) const {
  if (states_.empty() || registry.size() < fed_) {
    states_.assign(1, State{0, -1, {}});
    lastState_ = 0;
    fed_ = 0;
  }
  for (; fed_ < registry.size(); ++fed_) Extend(static_cast<unsigned char>(registry[fed_]));
  int32_t state = 0;
  for (char c : text) {
    state = Next(state, static_cast<unsigned char>(c));
    if (state == -1) return false;
  }
  return true;
}

}  // namespace kav_xml
