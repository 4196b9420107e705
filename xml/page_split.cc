#include "xml/page_split.h"

#include <libxml/xmlsave.h>

#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "service/kav_result.h"
#include "xml/libxml_quiet.h"
#include "xml/repair_nodes.h"
#include "xml/well_formed.h"
#include "xml/xhtml_name_lists.h"
#include "xml/xml_string.h"

namespace kav_xml {

namespace {

thread_local BreakMarkers* g_markers = nullptr;

// What a cut may do with an element's children.
enum class Kind {
  kWhole,     // nothing: the element stays on one page
  kFlow,      // cut before or after any block child; a run of text and inline elements stays together
  kElements,  // cut before any element child but the first (lists)
  kTable,     // cut before any row or row group but the first
};

Kind KindOf(const xmlNode* node) {
  if (node->type != XML_ELEMENT_NODE) return Kind::kWhole;
  const std::string_view name = NodeName(node);
  if (name == "body" || name == "div" || name == "li" || name == "dd" || name == "blockquote" ||
      name == "noscript" || name == "form" || name == "fieldset" || name == "center") {
    return Kind::kFlow;
  }
  if (name == "ul" || name == "ol" || name == "dl" || name == "tbody" || name == "thead" ||
      name == "tfoot") {
    return Kind::kElements;
  }
  if (name == "table") return Kind::kTable;
  return Kind::kWhole;
}

bool IsBlock(const xmlNode* node) {
  if (node->type != XML_ELEMENT_NODE) return false;
  const std::string_view name = NodeName(node);
  return ListHasFramed(kBlockNames, name) || name == "caption" || name == "colgroup" ||
         name == "col";
}

bool IsRowOrGroup(const xmlNode* node) {
  const std::string_view name = NodeName(node);
  return node->type == XML_ELEMENT_NODE && (name == "tbody" || name == "tr");
}

// Whether a page may end just before child, a child of an element of kind;
// block tells a block element (the planner knows it of every node).
bool CutBefore(Kind kind, const xmlNode* child, bool (*block)(const xmlNode*)) {
  const xmlNode* prev = child->prev;
  if (prev == nullptr) return false;
  switch (kind) {
    case Kind::kFlow:
      return block(child) || block(prev);
    case Kind::kElements:
      if (child->type != XML_ELEMENT_NODE) return false;
      for (; prev != nullptr; prev = prev->prev) {
        if (prev->type == XML_ELEMENT_NODE) return true;
      }
      return false;
    case Kind::kTable:
      if (!IsRowOrGroup(child)) return false;
      for (; prev != nullptr; prev = prev->prev) {
        if (IsRowOrGroup(prev)) return true;
      }
      return false;
    case Kind::kWhole:
      break;
  }
  return false;
}

bool IsBlankText(const xmlNode* node) {
  if (node->type != XML_TEXT_NODE) return false;
  for (const xmlChar* c = node->content; c != nullptr && *c != 0; ++c) {
    if (*c != ' ' && *c != '\t' && *c != '\n' && *c != '\r') return false;
  }
  return true;
}

// Bytes one character takes as the writer escapes it, at most.
size_t EscapedCharSize(char c, bool attribute) {
  switch (c) {
    case '&':
    case '\r':
      return 5;
    case '<':
    case '>':
      return 4;
    case '"':
      return attribute ? 6 : 1;
    case '\n':
      return attribute ? 5 : 1;
    case '\t':
      return attribute ? 4 : 1;
    default:
      return 1;
  }
}

// Bytes of text as the writer escapes it, at most. Runs of characters
// written as they are are skipped in one library call: the size walk
// reads every byte of the book, and most bytes are plain.
size_t EscapedSize(const xmlChar* text, bool attribute) {
  if (text == nullptr) return 0;
  const char* special = attribute ? "&<>\"\r\n\t" : "&<>\r";
  const char* c = reinterpret_cast<const char*>(text);
  size_t size = 0;
  for (;;) {
    const size_t plain = std::strcspn(c, special);
    size += plain;
    c += plain;
    if (*c == 0) return size;
    size += EscapedCharSize(*c++, attribute);
  }
}

size_t QNameSize(const xmlNs* ns, const xmlChar* name) {
  size_t size = name != nullptr ? std::strlen(reinterpret_cast<const char*>(name)) : 0;
  if (ns != nullptr && ns->prefix != nullptr) {
    size += std::strlen(reinterpret_cast<const char*>(ns->prefix)) + 1;
  }
  return size;
}

// The start and end tags of an element with its attributes, at most. The
// XHTML writer repeats lang as xml:lang (and back), and name as id.
size_t TagSize(const xmlNode* node) {
  const size_t name = QNameSize(node->ns, node->name);
  size_t size = 2 * name + 5;
  for (const xmlAttr* attr = node->properties; attr != nullptr; attr = attr->next) {
    size_t value = 0;
    for (const xmlNode* text = attr->children; text != nullptr; text = text->next) {
      value += EscapedSize(text->content, true);
    }
    const size_t one = QNameSize(attr->ns, attr->name) + value + 4;
    const std::string_view attrName = NodeName(reinterpret_cast<const xmlNode*>(attr));
    size += (attrName == "lang" || attrName == "name") ? 2 * one + 8 : one;
  }
  for (const xmlNs* ns = node->nsDef; ns != nullptr; ns = ns->next) {
    size += 10 + EscapedSize(ns->href, true) + QNameSize(nullptr, ns->prefix);
  }
  return size;
}

// Cuts of one page: where pages start, chosen on a walk that knows every
// node's saved size.
class Planner {
 public:
  Planner(xmlDoc* doc, size_t budget, size_t base) : doc_(doc), budget_(budget), base_(base) {}

  // Measures every node below top (body; its own size is never asked
  // for): the saved size of the node and its subtree, at most, is kept in
  // the node's _private (which nothing else on this path uses, and which is
  // left so: the nodes go with their pages), with what else the plan needs
  // to know of the node: whether it shows nothing (blank text, or an
  // element without attributes that holds only such nodes), is a block,
  // starts a page, or holds a node that does. visit sees each node first,
  // in document order.
  template <typename Visit>
  void Measure(xmlNode* top, Visit&& visit) {
    measured_ = top;
    for (xmlNode* child = top->children; child != nullptr; child = child->next) {
      Note(child, visit);
    }
  }

  // Marks node, and the nodes on its way down from the measured top, to be
  // seen by Walk.
  void MarkWay(xmlNode* node) {
    for (; node != nullptr && node != measured_ && !Has(node, kOnWay); node = node->parent) {
      Mark(node, kOnWay);
    }
  }

  // Shows visit the marked nodes in document order, and passes over every
  // subtree that holds none: a walk of the whole tree would read every node
  // of the book once more, most of them from memory rather than cache.
  template <typename Visit>
  void Walk(Visit&& visit) {
    xmlNode* top = measured_;
    if (top == nullptr) return;
    for (xmlNode* node = top->children; node != nullptr;) {
      if (Has(node, kOnWay)) {
        visit(node);
        if (node->children != nullptr && node->type == XML_ELEMENT_NODE) {
          node = node->children;
          continue;
        }
      }
      while (node != top && node->next == nullptr) node = node->parent;
      node = node == top ? nullptr : node->next;
    }
  }

  // A page starts at the unit holding target: of the highest node on
  // target's way down from body that cannot be cut further. Fill enters
  // every container on the way.
  void Force(xmlNode* body, xmlNode* target) {
    std::vector<xmlNode*> way;
    xmlNode* node = target;
    for (; node != nullptr && node != body; node = node->parent) way.push_back(node);
    if (node != body || way.empty()) return;
    xmlNode* at = nullptr;
    for (size_t i = way.size(); i-- > 0;) {
      at = way[i];
      if (i == 0 || KindOf(at) == Kind::kWhole) break;
    }
    Mark(at, kForced);
    for (xmlNode* up = at->parent; up != nullptr && up != body; up = up->parent) {
      if (Has(up, kHolds)) break;
      Mark(up, kHolds);
    }
  }

  void Plan(xmlNode* body) {
    used_ = base_;
    empty_ = true;
    Fill(body, body, 0);
  }

  const std::vector<xmlNode*>& cuts() const { return cuts_; }

 private:
  static constexpr uintptr_t kBlank = 1;
  static constexpr uintptr_t kForced = 2;  // a page starts at the node
  static constexpr uintptr_t kHolds = 4;   // a node below starts a page
  static constexpr uintptr_t kBlock = 8;   // a block element
  static constexpr uintptr_t kOnWay = 16;  // Walk shows the node
  static constexpr int kFlagBits = 5;

  static uintptr_t Packed(const xmlNode* node) {
    return reinterpret_cast<uintptr_t>(node->_private);
  }
  static size_t SizeOf(const xmlNode* node) { return Packed(node) >> kFlagBits; }
  static bool Has(const xmlNode* node, uintptr_t flag) { return (Packed(node) & flag) != 0; }
  static bool Block(const xmlNode* node) { return Has(node, kBlock); }
  static void Mark(xmlNode* node, uintptr_t flag) {
    node->_private = reinterpret_cast<void*>(Packed(node) | flag);
  }

  // Measures node and its subtree; what node's _private now holds.
  template <typename Visit>
  uintptr_t Note(xmlNode* node, Visit& visit) {
    visit(node);
    size_t size = 0;
    bool blank = false;
    if (node->type == XML_ELEMENT_NODE) {
      size = TagSize(node);
      blank = node->properties == nullptr;
      for (xmlNode* child = node->children; child != nullptr; child = child->next) {
        const uintptr_t packed = Note(child, visit);
        size += packed >> kFlagBits;
        blank = blank && (packed & kBlank) != 0;
      }
    } else if (node->type == XML_TEXT_NODE) {
      size = EscapedSize(node->content, false);
      blank = IsBlankText(node);
    } else {
      // Rare kinds (entity references, instructions): written out to count.
      xmlBuffer* buffer = xmlBufferCreate();
      if (buffer != nullptr) {
        int written = xmlNodeDump(buffer, doc_, node, 0, 0);
        size = written > 0 ? static_cast<size_t>(written) : 0;
        xmlBufferFree(buffer);
      }
    }
    const uintptr_t packed = (static_cast<uintptr_t>(size) << kFlagBits) | (blank ? kBlank : 0) |
                             (IsBlock(node) ? kBlock : 0);
    node->_private = reinterpret_cast<void*>(packed);
    return packed;
  }

  // A page that would start where its parent allows no cut (at the first
  // child, or before the first row after a table's head) starts before the
  // parent.
  static xmlNode* Lift(xmlNode* body, xmlNode* node) {
    while (node->parent != nullptr && node->parent != body &&
           !CutBefore(KindOf(node->parent), node, Block)) {
      node = node->parent;
    }
    return node;
  }

  void Cut(xmlNode* body, xmlNode* before, size_t open) {
    if (empty_) return;
    cuts_.push_back(Lift(body, before));
    used_ = base_ + open;
    empty_ = true;
  }

  // Places the children of container, whose open ancestors below body
  // (container included) take open bytes on every page.
  void Fill(xmlNode* body, xmlNode* container, size_t open) {
    const Kind kind = KindOf(container);
    xmlNode* first = container->children;
    while (first != nullptr) {
      // One unit: first up to the next place a page may end.
      xmlNode* end = first->next;
      while (end != nullptr && !CutBefore(kind, end, Block)) end = end->next;
      size_t size = 0;
      size_t elements = 0;
      bool blankOthers = true;
      bool blankUnit = true;
      bool forced = false;
      bool holds = false;
      xmlNode* element = nullptr;
      for (xmlNode* node = first; node != end; node = node->next) {
        size += SizeOf(node);
        forced = forced || Has(node, kForced);
        holds = holds || Has(node, kHolds);
        blankUnit = blankUnit && Has(node, kBlank);
        if (kind == Kind::kTable && node->type == XML_ELEMENT_NODE && !IsRowOrGroup(node)) {
          // A caption or a head goes with the first rows; the rows may be cut.
        } else if (node->type == XML_ELEMENT_NODE) {
          element = node;
          ++elements;
        } else if (!Has(node, kBlank)) {
          blankOthers = false;
        }
      }
      const bool enter = elements == 1 && blankOthers && (holds || used_ + size > budget_) &&
                         KindOf(element) != Kind::kWhole;
      // A break asked for inside a unit that cannot be entered goes before it.
      if (forced || (holds && !enter)) Cut(body, first, open);
      if (enter) {
        // What precedes the element in its unit (a table's head) goes to
        // the next page with it when the first cut inside lifts above it.
        size_t before = TagSize(element);
        xmlNode* node = first;
        for (; node != element; node = node->next) before += SizeOf(node);
        used_ += before;
        Fill(body, element, open + before);
        for (node = element->next; node != end; node = node->next) used_ += SizeOf(node);
      } else {
        if (used_ + size > budget_) Cut(body, first, open);
        used_ += size;
        // Blank text alone does not make a page.
        empty_ = empty_ && blankUnit;
      }
      first = end;
    }
  }

  xmlDoc* doc_;
  size_t budget_;
  size_t base_;
  size_t used_ = 0;
  bool empty_ = true;
  xmlNode* measured_ = nullptr;
  std::vector<xmlNode*> cuts_;
};

void Detach(xmlNode* node) {
  if (node->prev != nullptr) {
    node->prev->next = node->next;
  } else if (node->parent != nullptr) {
    node->parent->children = node->next;
  }
  if (node->next != nullptr) {
    node->next->prev = node->prev;
  } else if (node->parent != nullptr) {
    node->parent->last = node->prev;
  }
  node->parent = nullptr;
  node->prev = nullptr;
  node->next = nullptr;
}

// Links node (of the same document) as the last child of parent. Unlike
// xmlAddChild it never merges neighbouring text nodes, which would free
// nodes the split still points at.
void Append(xmlNode* parent, xmlNode* node) {
  Detach(node);
  node->parent = parent;
  node->prev = parent->last;
  if (parent->last != nullptr) {
    parent->last->next = node;
  } else {
    parent->children = node;
  }
  parent->last = node;
}

void InsertBefore(xmlNode* ref, xmlNode* node) {
  Detach(node);
  node->parent = ref->parent;
  node->next = ref;
  node->prev = ref->prev;
  if (ref->prev != nullptr) {
    ref->prev->next = node;
  } else if (ref->parent != nullptr) {
    ref->parent->children = node;
  }
  ref->prev = node;
}

// Adds the pending markers of top's subtree (top included) to ordered in
// document order, taking them out of pending. Markers are elements, and
// only elements are entered.
void MarkersBelow(xmlNode* top, std::unordered_set<const xmlNode*>* pending,
                  std::vector<xmlNode*>* ordered) {
  if (pending->erase(top) != 0) ordered->push_back(top);
  for (xmlNode* node = top->children; node != nullptr && !pending->empty();) {
    if (pending->erase(node) != 0) ordered->push_back(node);
    if (node->children != nullptr && node->type == XML_ELEMENT_NODE) {
      node = node->children;
      continue;
    }
    while (node != top && node->next == nullptr) node = node->parent;
    node = node == top ? nullptr : node->next;
  }
}

// The markers in the order they are taken out: those outside body, the
// latest listed first, then body's, the latest in the page first. Only
// body's children are walked, and the inside of those that hold more than
// one marker: most of a book's nodes are never read.
std::vector<xmlNode*> MarkersInOrder(xmlNode* body, const std::vector<xmlNode*>& markers) {
  if (markers.size() < 2) return markers;  // nothing to order: no walk
  // Each marker's ancestor among body's children, and how many it holds.
  std::unordered_map<const xmlNode*, size_t> held;
  std::vector<xmlNode*> outside;
  for (xmlNode* marker : markers) {
    const xmlNode* top = marker;
    while (top->parent != nullptr && top->parent != body) top = top->parent;
    if (top->parent == body) {
      ++held[top];
    } else {
      outside.push_back(marker);
    }
  }
  std::unordered_set<const xmlNode*> pending(markers.begin(), markers.end());
  for (xmlNode* marker : outside) pending.erase(marker);
  std::vector<xmlNode*> ordered;
  ordered.reserve(markers.size());
  for (xmlNode* child = body->children; child != nullptr && !held.empty(); child = child->next) {
    auto found = held.find(child);
    if (found == held.end()) continue;
    if (found->second == 1 && pending.erase(child) != 0) {
      ordered.push_back(child);
    } else {
      MarkersBelow(child, &pending, &ordered);
    }
    held.erase(found);
  }
  // A marker listed twice is taken out once.
  std::unordered_set<const xmlNode*> listed;
  for (xmlNode* marker : outside) {
    if (listed.insert(marker).second) ordered.push_back(marker);
  }
  return std::vector<xmlNode*>(ordered.rbegin(), ordered.rend());
}

// Takes a marker out, its content keeping its place, together with a div
// that held nothing else (the clean-up wraps loose body content so). The
// node that now stands where the marker stood, or null at the end.
xmlNode* RemoveMarker(xmlNode* body, xmlNode* marker) {
  xmlNode* after = marker->children;
  while (marker->children != nullptr) InsertBefore(marker, marker->children);
  xmlNode* parent = marker->parent;
  if (after == nullptr) {
    after = marker;
    while (after != body && after->next == nullptr && after->parent != nullptr) {
      after = after->parent;
    }
    after = after == body ? nullptr : after->next;
  }
  Detach(marker);
  xmlFreeNode(marker);
  if (parent != nullptr && parent != body && parent->children == nullptr &&
      parent->properties == nullptr && NodeName(parent) == "div") {
    Detach(parent);
    xmlFreeNode(parent);
  }
  return after;
}

xmlNode* ChildNamed(xmlNode* parent, std::string_view name) {
  for (xmlNode* child = parent != nullptr ? parent->children : nullptr; child != nullptr;
       child = child->next) {
    if (child->type == XML_ELEMENT_NODE && NodeName(child) == name) return child;
  }
  return nullptr;
}

// The saved size of doc as it stands.
size_t DocumentSize(xmlDoc* doc) {
  xmlChar* text = nullptr;
  int size = 0;
  xmlDocDumpMemoryEnc(doc, &text, &size, "UTF-8");
  if (text != nullptr) xmlFree(text);
  return size > 0 ? static_cast<size_t>(size) : 0;
}

std::string FragmentId(const std::string& href, const std::string& ownName) {
  if (!href.empty() && href[0] == '#') return href.substr(1);
  if (href.size() > ownName.size() && href.compare(0, ownName.size(), ownName) == 0 &&
      href[ownName.size()] == '#') {
    return href.substr(ownName.size() + 1);
  }
  return std::string();
}

}  // namespace

BreakMarkers::BreakMarkers() : previous_(g_markers) { g_markers = this; }
BreakMarkers::~BreakMarkers() { g_markers = previous_; }
BreakMarkers* BreakMarkers::Current() { return g_markers; }

bool BreakMarkers::IsMarkerName(std::string_view name) {
  return name == "pagebreak" || name == "mbp:pagebreak";
}

void BreakMarkers::Forget(const std::unordered_set<xmlNode*>& gone) {
  std::vector<xmlNode*> kept;
  for (xmlNode* node : nodes_) {
    if (gone.count(node) == 0) kept.push_back(node);
  }
  nodes_ = std::move(kept);
}

int SaveXhtmlDocument(xmlDoc* doc, const char* path) {
  QuietLibxml quiet;
  XmlString encoding("UTF-8");
  if (xmlSaveFileEnc(path, doc, encoding.c_str()) == -1) return KAV_ERR_XML_SAVE;
  return KAV_OK;
}

int SplitPage(xmlDoc* doc, const PageSplitInput& input,
              const std::function<std::string(size_t)>& fileName, const PageSink& sink,
              std::unordered_map<std::string, size_t>* pageOfId, size_t* pages) {
  if (pages != nullptr) *pages = 0;
  xmlNode* html = doc != nullptr ? xmlDocGetRootElement(doc) : nullptr;
  xmlNode* body = ChildNamed(html, "body");
  if (body == nullptr) return KAV_ERR_NO_ELEMENT;
  QuietLibxml quiet;
  std::vector<const xmlNode*> removed;
  MakeWellFormed(doc, &removed);

  // Markers go first, the latest in the page first: an earlier one's
  // successor may be a later marker. The clean-up lists them in the order it
  // met them, which a page it had to rearrange need not keep, so the body's
  // markers are put in its order (those outside it follow as listed).
  std::vector<xmlNode*> targets;
  for (xmlNode* marker : MarkersInOrder(body, input.markers)) {
    xmlNode* after = RemoveMarker(body, marker);
    if (after != nullptr) targets.push_back(after);
  }

  // The page without content: what every page carries besides its share.
  xmlNode* title = ChildNamed(ChildNamed(html, "head"), "title");
  xmlNode* shell = xmlDocCopyNode(body, doc, 2);
  if (shell == nullptr) return KAV_ERR_XML_CREATE;
  xmlReplaceNode(body, shell);
  const size_t base = DocumentSize(doc) + 64;
  xmlReplaceNode(shell, body);
  xmlFreeNode(shell);
  const size_t budget = input.maxPageBytes > base + 256 ? input.maxPageBytes - 256 : base;

  Planner planner(doc, budget, base);
  // Ids: where breaks are asked for, and (below) where links lead.
  std::vector<std::pair<xmlNode*, std::string>> owners;
  std::vector<std::pair<xmlNode*, std::string>> links;
  const std::string firstName = fileName(0);
  planner.Measure(body, [&owners, &links, &firstName](xmlNode* node) {
    if (node->type != XML_ELEMENT_NODE) return;
    std::string value;
    if (GetAttrValue(node, "id", &value) && !value.empty()) {
      owners.emplace_back(node, std::move(value));
    }
    if (NodeName(node) == "a" && GetAttrValue(node, "href", &value)) {
      std::string id = FragmentId(value, firstName);
      if (!id.empty()) links.emplace_back(node, std::move(id));
    }
  });
  for (const auto& owner : owners) {
    if (input.breakIds.count(owner.second) != 0) targets.push_back(owner.first);
  }
  for (xmlNode* target : targets) planner.Force(body, target);
  planner.Plan(body);
  const std::vector<xmlNode*>& cuts = planner.cuts();
  const size_t count = cuts.size() + 1;

  // The page of every id owner and link, seen in the order they were
  // found: a cut starts the next page.
  std::vector<size_t> ownerPage(owners.size());
  std::vector<size_t> linkPage(links.size());
  size_t onPage = 0;
  size_t nextCut = 0;
  size_t nextOwner = 0;
  size_t nextLink = 0;
  for (xmlNode* node : cuts) planner.MarkWay(node);
  for (const auto& owner : owners) planner.MarkWay(owner.first);
  for (const auto& link : links) planner.MarkWay(link.first);
  planner.Walk([&](xmlNode* node) {
    if (nextCut < cuts.size() && node == cuts[nextCut]) {
      ++onPage;
      ++nextCut;
    }
    if (nextOwner < owners.size() && owners[nextOwner].first == node) {
      ownerPage[nextOwner++] = onPage;
    }
    if (nextLink < links.size() && links[nextLink].first == node) linkPage[nextLink++] = onPage;
  });
  std::unordered_map<std::string, size_t> idPage;
  idPage.reserve(owners.size());
  for (size_t i = 0; i < owners.size(); ++i) idPage.emplace(owners[i].second, ownerPage[i]);
  for (size_t i = 0; i < links.size(); ++i) {
    const auto& link = links[i];
    auto found = idPage.find(link.second);
    if (found == idPage.end()) continue;  // left as the clean-up left it
    const std::string href = found->second == linkPage[i]
                                 ? "#" + link.second
                                 : fileName(found->second) + "#" + link.second;
    XmlString name("href");
    XmlString value(href.c_str());
    xmlSetProp(link.first, name.get(), value.get());
  }
  if (pageOfId != nullptr) *pageOfId = std::move(idPage);

  // Each page in turn takes the content before the next cut into a copy of
  // body; an element the cut passes through is copied too, its first part
  // keeping its id, and the rest stays behind for the next page.
  xmlNode* source = body;
  body = xmlDocCopyNode(source, doc, 2);
  if (body == nullptr) return KAV_ERR_XML_CREATE;
  xmlReplaceNode(source, body);
  int r = KAV_OK;
  for (size_t page = 0; page < count && r == KAV_OK; ++page) {
    if (page > 0) {
      xmlNode* fresh = xmlDocCopyNode(source, doc, 2);
      if (fresh == nullptr) {
        r = KAV_ERR_XML_CREATE;
        break;
      }
      xmlReplaceNode(body, fresh);
      xmlFreeNode(body);
      body = fresh;
    }
    RemoveAttr(source, "id");
    xmlNode* stop = page < cuts.size() ? cuts[page] : nullptr;
    std::vector<xmlNode*> way;
    for (xmlNode* node = stop; node != nullptr && node->parent != source; node = node->parent) {
      way.push_back(node->parent);
    }
    xmlNode* from = source;
    xmlNode* to = body;
    for (size_t i = way.size(); i-- > 0;) {
      while (from->children != way[i]) Append(to, from->children);
      xmlNode* part = xmlDocCopyNode(way[i], doc, 2);
      if (part == nullptr) {
        r = KAV_ERR_XML_CREATE;
        break;
      }
      Append(to, part);
      RemoveAttr(way[i], "id");
      from = way[i];
      to = part;
    }
    if (r != KAV_OK) break;
    while (from->children != nullptr && from->children != stop) Append(to, from->children);
    if (page > 0 && title != nullptr) {
      std::string name = fileName(page);
      const size_t dot = name.rfind('.');
      if (dot != std::string::npos) name.erase(dot);
      XmlString text(name.c_str());
      xmlNodeSetContent(title, text.get());
    }
    r = sink(page, doc);
    if (pages != nullptr) *pages = page + 1;
  }
  xmlReplaceNode(body, source);
  xmlFreeNode(body);
  return r;
}

}  // namespace kav_xml
