// A lookup index kept beside the registry of ids that the XHTML repair
// builds. The registry is one text, "|" followed by "#" + id + "|" for every
// id registered, and questions about it are substring questions. Answering
// them by scanning the text makes a page with many ids and fragment links
// take time quadratic in its size; the index answers the usual questions in
// constant time and with exactly the same result.
#ifndef KAV_EPUB_XML_ID_INDEX_H_
#define KAV_EPUB_XML_ID_INDEX_H_

#include <libxml/tree.h>

#include <string>
#include <unordered_set>
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
  // While no registered id holds "#" or "|", those characters in the
  // registry are exactly its separators, and a question about an id free
  // of them is a question about whole entries.
  bool separatorsOnly_ = true;
  std::unordered_set<std::string> ids_;
  std::unordered_set<const xmlNode*> owners_;
};

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_ID_INDEX_H_
