// A lookup index kept beside the registry of ids that the XHTML repair
// builds. The registry is one text, "|" followed by "#" + id + "|" for every
// id registered, and questions about it are substring questions. Answering
// them by scanning the text makes a page with many ids and fragment links
// take time quadratic in its size; the index answers the usual questions in
// constant time and with exactly the same result. Once an id holds a
// separator, a question may span entries: it is then answered by a suffix
// automaton of the registry text, in time proportional to the question.
#ifndef KAV_EPUB_XML_ID_INDEX_H_
#define KAV_EPUB_XML_ID_INDEX_H_

#include <libxml/tree.h>

#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace kav_xml {

class IdIndex {
 public:
  // Appends "#" + id + "|" to registry and owner to owners.
  void Register(std::string& registry, std::vector<xmlNode*>& owners, const std::string& id,
                xmlNode* owner);
  // Whether "#" + id + "|" occurs in registry.
  bool HasIdKey(const std::string& registry, const std::string& id) const;
  // Whether "|" + href + "|" occurs in registry.
  bool HasFragmentKey(const std::string& registry, const std::string& href) const;
  // Whether owner was registered.
  bool IsOwner(const xmlNode* owner) const { return owners_.count(owner) != 0; }

 private:
  // Whether text occurs in registry, which only ever grows at its end.
  bool Contains(const std::string& registry, const std::string& text) const;
  void Extend(unsigned char c) const;

  struct State {
    int32_t length;
    int32_t link;
    std::vector<std::pair<unsigned char, int32_t>> next;  // sorted by character
  };
  int32_t Next(int32_t state, unsigned char c) const;
  void SetNext(int32_t state, unsigned char c, int32_t target) const;
  // The automaton of the first fed_ characters of the registry, built when
  // first needed.
  mutable std::vector<State> states_;
  mutable int32_t lastState_ = 0;
  mutable size_t fed_ = 0;

  // While no registered id holds "#" or "|", those characters in the
  // registry are exactly its separators, and a question about an id free
  // of them is a question about whole entries.
  bool separatorsOnly_ = true;
  std::unordered_set<std::string> ids_;
  std::unordered_set<const xmlNode*> owners_;
};

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_ID_INDEX_H_
