#include "xml/walk_index.h"

#include <algorithm>

namespace kav_xml {

namespace {

WalkIndex* g_current = nullptr;

bool HasPrefix(const xmlNode* node) { return node->ns != nullptr && node->ns->prefix != nullptr; }

// Whether name is one of a mixed content model's element names, searched as
// xmlValidateOneElement searches it (a corrupt model counts as a match, as
// libxml2's loop stops there without an error).
bool InMixedModel(const xmlElementContent* cont, const xmlChar* name) {
  while (cont != nullptr) {
    if (cont->type == XML_ELEMENT_CONTENT_ELEMENT) {
      if (xmlStrEqual(cont->name, name)) return true;
    } else if (cont->type == XML_ELEMENT_CONTENT_OR && cont->c1 != nullptr &&
               cont->c1->type == XML_ELEMENT_CONTENT_ELEMENT) {
      if (xmlStrEqual(cont->c1->name, name)) return true;
    } else if (cont->type != XML_ELEMENT_CONTENT_OR || cont->c1 == nullptr ||
               cont->c1->type != XML_ELEMENT_CONTENT_PCDATA) {
      return true;
    }
    cont = cont->c2;
  }
  return false;
}

// The names of a choice of single elements, such as (p | div | ul); false
// for any other shape.
bool CollectChoice(const xmlElementContent* cont, std::vector<const xmlChar*>* names) {
  if (cont == nullptr || cont->ocur != XML_ELEMENT_CONTENT_ONCE) return false;
  if (cont->type == XML_ELEMENT_CONTENT_ELEMENT) {
    if (cont->prefix != nullptr || cont->name == nullptr) return false;
    names->push_back(cont->name);
    return true;
  }
  if (cont->type != XML_ELEMENT_CONTENT_OR) return false;
  return CollectChoice(cont->c1, names) && CollectChoice(cont->c2, names);
}

}  // namespace

// One element's children as its content model sees them.
struct WalkIndex::Content {
  bool mixed = false;
  const xmlElementContent* model = nullptr;
  // Element content of the form (names)* or (names)+.
  bool choice = false;
  bool plus = false;
  std::vector<const xmlChar*> names;
  // The children when the record was made; any other list makes it stale.
  const xmlNode* first = nullptr;
  const xmlNode* last = nullptr;
  bool followed = true;
  size_t elements = 0;
  std::unordered_map<const xmlNode*, size_t> place;
  std::map<size_t, xmlNode*> broken;

  bool Breaks(const xmlNode* child) const {
    if (mixed) return child->type == XML_ELEMENT_NODE && !InMixedModel(model, child->name);
    switch (child->type) {
      case XML_ELEMENT_NODE:
        for (const xmlChar* name : names) {
          if (xmlStrEqual(name, child->name)) return false;
        }
        return true;
      case XML_TEXT_NODE:
        return xmlIsBlankNode(child) == 0;
      case XML_CDATA_SECTION_NODE:
        return true;
      default:
        return false;
    }
  }
};

WalkIndex::WalkIndex() = default;
WalkIndex::~WalkIndex() { Reveal(); }

xmlNode* WalkIndex::FirstChildNamed(xmlNode* parent, const char* name) {
  if (parent == nullptr || name == nullptr) return nullptr;
  std::vector<Cursor>& known = cursors_[parent];
  auto named = std::find_if(known.begin(), known.end(),
                            [name](const Cursor& cursor) { return cursor.name == name; });
  if (named == known.end()) {
    known.push_back(Cursor{name, nullptr, nullptr});
    named = known.end() - 1;
  }
  Cursor& cursor = *named;
  const xmlChar* wanted = reinterpret_cast<const xmlChar*>(name);
  // No child before the cursor has the name: a child that takes it by a
  // rename drops the cursor, and children are only ever added at the end.
  xmlNode* child = parent->children;
  xmlNode* last = nullptr;
  if (cursor.found != nullptr && cursor.found->parent == parent) {
    if (xmlStrEqual(cursor.found->name, wanted)) return cursor.found;
    last = cursor.found;
    child = cursor.found->next;
  } else if (cursor.found == nullptr && cursor.scannedLast != nullptr &&
             cursor.scannedLast->parent == parent) {
    last = cursor.scannedLast;
    child = cursor.scannedLast->next;
  }
  for (; child != nullptr; child = child->next) {
    if (xmlStrEqual(child->name, wanted)) {
      cursor.found = child;
      cursor.scannedLast = nullptr;
      return child;
    }
    last = child;
  }
  cursor.found = nullptr;
  cursor.scannedLast = last;
  return nullptr;
}

void WalkIndex::Renamed(xmlNode* node) {
  if (node == nullptr) return;
  contents_.erase(node);
  xmlNode* parent = node->parent;
  if (parent == nullptr) return;
  auto cursors = cursors_.find(parent);
  if (cursors != cursors_.end() && node->name != nullptr) {
    const char* name = reinterpret_cast<const char*>(node->name);
    std::vector<Cursor>& known = cursors->second;
    known.erase(std::remove_if(known.begin(), known.end(),
                               [name](const Cursor& cursor) { return cursor.name == name; }),
                known.end());
  }
  auto found = contents_.find(parent);
  if (found != contents_.end()) Update(*found->second, node);
}

void WalkIndex::Emptied(xmlNode* parent) { contents_.erase(parent); }

void WalkIndex::Update(Content& content, xmlNode* child) {
  auto place = content.place.find(child);
  if (place == content.place.end()) return;
  if (content.Breaks(child)) {
    content.broken[place->second] = child;
  } else {
    content.broken.erase(place->second);
  }
}

WalkIndex::Content* WalkIndex::ContentOf(xmlElement* decl, xmlNode* parent) {
  auto found = contents_.find(parent);
  if (found != contents_.end()) {
    Content& known = *found->second;
    if (known.first == parent->children && known.last == parent->last) return &known;
    contents_.erase(found);
  }
  auto content = std::make_unique<Content>();
  content->model = decl->content;
  content->mixed = decl->etype == XML_ELEMENT_TYPE_MIXED;
  if (!content->mixed) {
    const xmlElementContent* top = decl->content;
    content->plus = top != nullptr && top->ocur == XML_ELEMENT_CONTENT_PLUS;
    if (top != nullptr &&
        (top->ocur == XML_ELEMENT_CONTENT_MULT || top->ocur == XML_ELEMENT_CONTENT_PLUS)) {
      // The choice below the repetition is read as if it stood once.
      xmlElementContent once = *top;
      once.ocur = XML_ELEMENT_CONTENT_ONCE;
      once.c1 = top->c1;
      once.c2 = top->c2;
      content->choice = CollectChoice(&once, &content->names);
    }
  }
  content->first = parent->children;
  content->last = parent->last;
  size_t place = 0;
  for (xmlNode* child = parent->children; child != nullptr; child = child->next, ++place) {
    // Prefixed names and entity references are validated another way.
    if ((child->type == XML_ELEMENT_NODE && HasPrefix(child)) ||
        child->type == XML_ENTITY_REF_NODE) {
      content->followed = false;
    }
    if (child->type == XML_ELEMENT_NODE) ++content->elements;
    content->place.emplace(child, place);
    if (content->Breaks(child)) content->broken.emplace(place, child);
  }
  Content* made = content.get();
  contents_[parent] = std::move(content);
  return made;
}

bool WalkIndex::BrokenChildren(xmlElement* decl, xmlNode* parent, std::vector<xmlNode*>* broken,
                               bool* contentValid) {
  if (decl == nullptr || parent == nullptr) return false;
  Content* content = ContentOf(decl, parent);
  if (!content->followed || (!content->mixed && !content->choice)) return false;
  broken->clear();
  for (const auto& entry : content->broken) broken->push_back(entry.second);
  *contentValid = broken->empty() && (!content->plus || content->elements > 0);
  return true;
}

void WalkIndex::Hide(xmlNode* parent) {
  Reveal();
  hidden_ = parent;
  hiddenFirst_ = parent->children;
  hiddenLast_ = parent->last;
  parent->children = nullptr;
  parent->last = nullptr;
}

void WalkIndex::Reveal() {
  if (hidden_ == nullptr) return;
  hidden_->children = hiddenFirst_;
  hidden_->last = hiddenLast_;
  hidden_ = nullptr;
  hiddenFirst_ = nullptr;
  hiddenLast_ = nullptr;
}

WalkIndexScope::WalkIndexScope(WalkIndex* index) : previous_(g_current) { g_current = index; }
WalkIndexScope::~WalkIndexScope() { g_current = previous_; }

WalkIndex* CurrentWalkIndex() { return g_current; }

}  // namespace kav_xml
