// Validating an imported document against the XHTML 1.0 Strict DTD one
// element and one attribute at a time, and repairing what fails on the way.
// The repairs are deliberately coarse (renaming, dropping, emptying); the
// walk keeps their exact order, since each one changes what the next sees.
#include <libxml/globals.h>
#include <libxml/parserInternals.h>
#include <libxml/valid.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fileutil/file_util.h"
#include "platform/tool/kav_tool.h"
#include "xml/id_index.h"
#include "xml/page_split.h"
#include "xml/repair_nodes.h"
#include "xml/walk_index.h"
#include "xml/xhtml_name_lists.h"
#include "xml/xml_base.h"
#include "xml/xml_string.h"

using kav_xml::AttrText;
using kav_xml::ClearContent;
using kav_xml::FindAttr;
using kav_xml::GetAttrValue;
using kav_xml::IsAttrOf;
using kav_xml::ListHasBare;
using kav_xml::ListHasFramed;
using kav_xml::Neutralise;
using kav_xml::NodeName;
using kav_xml::ReleaseAttributes;
using kav_xml::RemoveAttr;
using kav_xml::RenameNode;
using kav_xml::XmlString;

namespace {

// Set by PrintError when it changed the attribute list of the element being
// validated: the attribute pass then starts over at the first attribute.
bool g_start_flag = false;

// The name checks of the walk for libxml2's "text", the name of every text
// node.
constexpr bool kTextIsHeadOnly = ListHasFramed(kav_xml::kHeadOnlyNames, "text");
constexpr bool kTextIsAllowed = ListHasBare(kav_xml::kAllowedNames, "text");

// Validation results combine like a logical AND of "valid" (1).
int Both(int a, int b) { return (a == 1 && b == 1) ? 1 : 0; }

void SetProp(xmlNode* node, const char* name, const char* value) {
  XmlString attrName(name);
  XmlString attrValue(value);
  xmlSetProp(node, attrName.get(), attrValue.get());
}

bool HasBlank(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return std::isblank(static_cast<unsigned char>(c)) != 0; });
}

int CountAttributes(const xmlNode* node) {
  int count = 0;
  for (const xmlAttr* attr = node->properties; attr != nullptr; attr = attr->next) ++count;
  return count;
}

// An image that cannot be shown becomes its alternative text, marked blue.
void ShowImageAsText(xmlNode* node, std::vector<xmlNode*>& pending) {
  std::string alt;
  bool hasAlt = GetAttrValue(node, "alt", &alt);
  Neutralise(node);
  ClearContent(node, pending);
  // The alt text is plain text: an "&" in it is not the start of an entity.
  if (hasAlt && !alt.empty()) {
    XmlString text(alt.c_str());
    xmlNodeAddContent(node, text.get());
  }
}

// A local reference (src or href): the attribute keeps only the file name,
// the directory part is remembered, and the decoded path is listed for
// copying when the file exists beside the source document.
bool RewriteLocalReference(xmlNode* node, const char* attrName, std::string& path,
                           const std::string& baseDir, std::string& resourceDir,
                           std::vector<std::string>& sources) {
  std::string file;
  std::string dir;
  GetFileOrDirFromPath(path.c_str(), file, dir);
  SetProp(node, attrName, file.c_str());
  resourceDir = dir;
  XMLBase::PercentEncoding(path);
  if (KavIsFileExists((baseDir + "/" + path).c_str()) == 0) return false;
  sources.push_back(path);
  return true;
}

xmlAttribute* FindAttrDecl(xmlDoc* doc, const xmlChar* elemName, const xmlAttr* attr) {
  xmlDtd* subsets[] = {doc->intSubset, doc->extSubset};
  for (xmlDtd* subset : subsets) {
    if (subset == nullptr) continue;
    xmlAttribute* decl = attr->ns != nullptr
                             ? xmlGetDtdQAttrDesc(subset, elemName, attr->name, attr->ns->prefix)
                             : xmlGetDtdAttrDesc(subset, elemName, attr->name);
    if (decl != nullptr) return decl;
  }
  return nullptr;
}

// Gives the attribute being validated its declared default, or else the
// first value of its enumeration.
void ResetAttributeValue(xmlNode* node, xmlAttr* attr) {
  if (node == nullptr || node->name == nullptr || attr == nullptr || attr->name == nullptr) return;
  // The pointer may be left over from an attribute freed since; only one
  // that the element still carries is touched.
  if (!IsAttrOf(node, attr) || node->doc == nullptr) return;
  xmlDoc* doc = node->doc;
  xmlAttribute* decl = nullptr;
  if (node->ns != nullptr && node->ns->prefix != nullptr) {
    xmlChar buffer[50];
    xmlChar* qname = xmlBuildQName(node->name, node->ns->prefix, buffer, sizeof(buffer));
    if (qname != nullptr) {
      decl = FindAttrDecl(doc, qname, attr);
      if (qname != buffer && qname != node->name) xmlFree(qname);
    }
  }
  if (decl == nullptr) decl = FindAttrDecl(doc, node->name, attr);
  if (decl == nullptr) return;
  const xmlChar* value = decl->defaultValue;
  if (value == nullptr && decl->tree != nullptr) value = decl->tree->name;
  if (value == nullptr) return;
  // Set on this very attribute (same name, same namespace): by its bare
  // qualified name a prefixed attribute such as "xml:space" would get a
  // second, namespaced twin instead.
  xmlSetNsProp(node, attr->ns, attr->name, value);
}

// An invalid or undeclared child named name: dropped from a list
// container, otherwise made a plain span. The child is the first one of that
// name, which the walk's index finds without searching from the start.
void RepairChild(xmlNode* node, const char* name, std::vector<xmlNode*>& pending,
                 kav_xml::WalkIndex* index) {
  if (node == nullptr || name == nullptr) return;
  xmlNode* child = nullptr;
  if (index != nullptr) {
    child = index->FirstChildNamed(node, name);
  } else {
    child = node->children;
    while (child != nullptr && !xmlStrEqual(child->name, BAD_CAST name)) child = child->next;
  }
  if (child == nullptr) return;
  if (ListHasFramed(kav_xml::kListContainerNames, NodeName(node))) {
    pending.push_back(child);
  } else {
    kav_xml::BreakMarkers* markers = kav_xml::BreakMarkers::Current();
    if (markers != nullptr && kav_xml::BreakMarkers::IsMarkerName(name)) markers->Note(child);
    ReleaseAttributes(child);
    RenameNode(child, "span");
  }
}

void AddMissingAttribute(xmlNode* node, const char* str1, std::vector<xmlNode*>& pending) {
  const std::string_view name = NodeName(node);
  if (name == "script") {
    SetProp(node, "type", "text/javascript");
  } else if (name == "style") {
    SetProp(node, "type", "text/css");
  } else if (name == "bdo") {
    SetProp(node, "dir", "ltr");
  } else if (name == "img" || name == "area") {
    SetProp(node, "alt", " ");
  } else if (str1 != nullptr && str1[0] != '\0') {
    // libxml2 names the element here, not the attribute: the attribute made
    // is undeclared and the attribute pass removes it again.
    SetProp(node, str1, " ");
  }
  ClearContent(node, pending);
}

void ReleaseAttrName(xmlNode* node, const char* name) {
  xmlAttr* attr = FindAttr(node, name);
  if (attr == nullptr || attr->name == nullptr) return;
  xmlDict* dict = node->doc != nullptr ? node->doc->dict : nullptr;
  if (dict == nullptr || xmlDictOwns(dict, attr->name) == 0) {
    xmlFree(const_cast<xmlChar*>(attr->name));
  }
  attr->name = nullptr;
}

void FreeRefTable(xmlDoc* doc) {
  if (doc->refs == nullptr) return;
  xmlFreeRefTable(static_cast<xmlRefTable*>(doc->refs));
  doc->refs = nullptr;
}

// The walk may free attributes after they were registered as ID
// references; the final check must only read attributes still in the tree.
void RebuildRefTable(xmlDoc* doc, xmlDtd* dtd) {
  FreeRefTable(doc);
  xmlNode* top = xmlDocGetRootElement(doc);
  xmlNode* node = top;
  while (node != nullptr) {
    if (node->type == XML_ELEMENT_NODE && node->name != nullptr) {
      for (xmlAttr* attr = node->properties; attr != nullptr; attr = attr->next) {
        if (attr->name == nullptr) continue;
        xmlAttribute* decl = attr->ns != nullptr
                                 ? xmlGetDtdQAttrDesc(dtd, node->name, attr->name, attr->ns->prefix)
                                 : xmlGetDtdAttrDesc(dtd, node->name, attr->name);
        if (decl == nullptr ||
            (decl->atype != XML_ATTRIBUTE_IDREF && decl->atype != XML_ATTRIBUTE_IDREFS)) {
          continue;
        }
        xmlChar* value = xmlNodeListGetString(doc, attr->children, 0);
        if (value != nullptr) {
          xmlAddRef(nullptr, doc, value, attr);
          xmlFree(value);
        }
      }
    }
    if (node->children != nullptr && node->type == XML_ELEMENT_NODE) {
      node = node->children;
      continue;
    }
    while (node != top && node->next == nullptr && node->parent != nullptr) node = node->parent;
    if (node == top || node->next == nullptr) break;
    node = node->next;
  }
}

// Whether libxml2's attribute validation finds a declaration for attr on
// element node, looked up as xmlValidateOneAttribute does for an element
// without a namespace prefix.
bool HasAttrDecl(const xmlDoc* doc, const xmlNode* node, const xmlAttr* attr) {
  xmlDtd* subsets[] = {doc->intSubset, doc->extSubset};
  for (xmlDtd* subset : subsets) {
    if (subset == nullptr) continue;
    const xmlAttribute* decl =
        attr->ns != nullptr ? xmlGetDtdQAttrDesc(subset, node->name, attr->name, attr->ns->prefix)
                            : xmlGetDtdAttrDesc(subset, node->name, attr->name);
    if (decl != nullptr) return true;
  }
  return false;
}

// An undeclared attribute always fails validation with "unknown attribute",
// whose repair is to remove the element's attribute of that name and start
// the pass over. Where that error would reach our own handler, the pass
// makes the repair itself and spares libxml2 formatting a message nobody
// reads; anywhere else (a foreign handler, a structured handler that takes
// the errors, a prefixed element) libxml2 validates as usual.
bool RepairsUndeclaredItself(const xmlValidCtxt* ctxt, const TRepairState* state, const xmlDoc* doc,
                             const xmlNode* node) {
  return ctxt->error == XMLBase::PrintError && ctxt->userData == state && state != nullptr &&
         state->lastError == &xmlLastError && xmlStructuredError == nullptr && doc != nullptr &&
         (doc->intSubset != nullptr || doc->extSubset != nullptr) && node->name != nullptr &&
         (node->ns == nullptr || node->ns->prefix == nullptr);
}

// Whether every validity error of ctxt reaches PrintError with state: only
// then may the walk raise an error's repair itself instead of libxml2.
bool ErrorsReachOwnHandler(const xmlValidCtxt* ctxt, const TRepairState* state) {
  return ctxt->error == XMLBase::PrintError && ctxt->userData == state && state != nullptr &&
         state->lastError == &xmlLastError && xmlStructuredError == nullptr;
}

// xmlValidateOneElement(ctxt, doc, parent) for the parent of an element the
// walk has just renamed a div, at a cost that does not grow with the
// parent's children. libxml2 checks the children, then the attributes:
// - mixed content raises "invalid child" for each child outside the model,
//   in document order, naming the child; the index knows those children,
//   and the repair of each is made as PrintError would make it;
// - element content raises no error that repairs anything, so only whether
//   the children match counts, and only while the walk has not failed yet
//   (after a failure the walk's result is 0 whatever this one is); the
//   index answers that for the usual (a | b | ...)* models;
// - the attributes are checked by libxml2 itself, with the children hidden
//   from it (a repair reveals them first).
// Anything else goes to libxml2 whole.
int RevalidateParent(xmlValidCtxt* ctxt, xmlDoc* doc, xmlNode* parent, TRepairState* state) {
  kav_xml::WalkIndex* index = state != nullptr ? state->index : nullptr;
  if (index == nullptr || !ErrorsReachOwnHandler(ctxt, state) || parent->type != XML_ELEMENT_NODE ||
      parent->name == nullptr || (parent->ns != nullptr && parent->ns->prefix != nullptr) ||
      doc->intSubset != nullptr || doc->extSubset == nullptr || doc->standalone == 1 ||
      ctxt->vstateNr != 0) {
    return xmlValidateOneElement(ctxt, doc, parent);
  }
  xmlElement* decl = xmlGetDtdElementDesc(doc->extSubset, parent->name);
  const bool mixed = decl != nullptr && decl->etype == XML_ELEMENT_TYPE_MIXED &&
                     decl->content != nullptr && decl->content->type != XML_ELEMENT_CONTENT_PCDATA;
  const bool element = decl != nullptr && decl->etype == XML_ELEMENT_TYPE_ELEMENT;
  if (!mixed && !element) return xmlValidateOneElement(ctxt, doc, parent);

  int result = 1;
  if (mixed || !index->failed) {
    std::vector<xmlNode*> broken;
    bool contentValid = true;
    if (!index->BrokenChildren(decl, parent, &broken, &contentValid)) {
      return xmlValidateOneElement(ctxt, doc, parent);
    }
    if (mixed) {
      for (xmlNode* child : broken) {
        // libxml2 hands the handler a copy of the name.
        if (child->name == nullptr) {
          result = 0;
          continue;
        }
        const std::string name(reinterpret_cast<const char*>(child->name));
        RepairChild(parent, name.c_str(), state->pending, index);
        result = 0;
      }
    } else if (!contentValid) {
      result = 0;
    } else if (decl->content->ocur == XML_ELEMENT_CONTENT_PLUS) {
      // The hidden, empty children would not match: libxml2 checks all.
      return xmlValidateOneElement(ctxt, doc, parent);
    }
  }
  index->Hide(parent);
  const int attributes = xmlValidateOneElement(ctxt, doc, parent);
  index->Reveal();
  return Both(result, attributes);
}

// Counts the walk's depth; the outermost call starts with nothing failed.
class WalkDepth {
 public:
  explicit WalkDepth(kav_xml::WalkIndex* index) : index_(index) {
    if (index_ != nullptr && index_->depth++ == 0) index_->failed = false;
  }
  ~WalkDepth() {
    if (index_ != nullptr) --index_->depth;
  }
  WalkDepth(const WalkDepth&) = delete;
  WalkDepth& operator=(const WalkDepth&) = delete;

 private:
  kav_xml::WalkIndex* index_;
};

// What the walk does with an element after the name check.
enum class WalkKind { kOther, kImg, kLink, kTable, kBlockquote, kDiv, kA };

WalkKind WalkKindOf(std::string_view name) {
  if (name == "img") return WalkKind::kImg;
  if (name == "link") return WalkKind::kLink;
  if (name == "table") return WalkKind::kTable;
  if (name == "blockquote") return WalkKind::kBlockquote;
  if (name == "div") return WalkKind::kDiv;
  if (name == "a") return WalkKind::kA;
  return WalkKind::kOther;
}

// The rules of the attribute pass that depend on the element's name, which
// the pass never changes.
enum class AttrRules { kPlain, kIns, kNamedAnchor };

AttrRules AttrRulesOf(std::string_view element) {
  if (element == "ins") return AttrRules::kIns;
  if (element == "a" || element == "map") return AttrRules::kNamedAnchor;
  return AttrRules::kPlain;
}

// The attribute pass of one element. Every removal starts the pass over at
// the first attribute, as does a repair made by PrintError (g_start_flag).
int ValidateAttributes(xmlValidCtxt* ctxt, xmlDoc* doc, xmlNode* node, std::string& idList,
                       std::vector<xmlNode*>& idOwners, kav_xml::IdIndex& ids,
                       xmlAttr*& currentAttr, const TRepairState* state) {
  const AttrRules rules = AttrRulesOf(NodeName(node));
  const bool repairUndeclared =
      node->properties != nullptr && RepairsUndeclaredItself(ctxt, state, doc, node);
  int result = 1;
  // Each restart follows a change that shrinks or settles the list; the
  // budget only stops a repair that changed nothing from looping forever.
  int restartsLeft = 16 + 4 * CountAttributes(node);
  xmlAttr* attr = node->properties;
  auto restart = [&]() { attr = --restartsLeft >= 0 ? node->properties : nullptr; };
  auto removeAndRestart = [&]() {
    xmlRemoveProp(attr);
    restart();
  };
  // Holds the value of an attribute that is not a single text node.
  std::string built;

  while (attr != nullptr) {
    if (attr->name == nullptr) {
      attr = attr->next;
      continue;
    }
    // Both views end when the attribute is removed.
    const std::string_view name(reinterpret_cast<const char*>(attr->name));
    // The spellings "city" and "datatime" are this program's own.
    if (rules == AttrRules::kIns && name != "city" && name != "datatime") {
      removeAndRestart();
      continue;
    }
    const std::string_view value = AttrText(attr, &built);

    if (name == "lang") {
      const std::string kept(value);
      xmlRemoveProp(attr);
      // Set by its plain name: a namespaced "lang" would come back to this
      // rule. An existing xml:lang takes the value instead of getting a twin.
      XmlString qname("xml:lang");
      XmlString text(kept.c_str());
      xmlSetNsProp(node, nullptr, qname.get(), text.get());
      restart();
      continue;
    }

    if (name == "id" && !value.empty()) {
      const std::string id(value);
      if (ids.HasIdKey(idList, id)) {
        // Only the first element to register an id keeps it.
        if (!ids.IsOwner(node)) {
          removeAndRestart();
          continue;
        }
      } else if (HasBlank(id)) {
        removeAndRestart();
        continue;
      } else {
        ids.Register(idList, idOwners, id, node);
      }
    }

    if (name == "name" && rules == AttrRules::kNamedAnchor) {
      // The element always has the name attribute at this point, so the
      // id is never added; the guard is kept as it stands.
      if (FindAttr(node, "name") == nullptr) SetProp(node, "id", std::string(value).c_str());
      removeAndRestart();
      continue;
    }

    // Empty attributes (but an empty alt) and event handlers go. The event
    // list is matched as a substring, so fragments of its names go too.
    if ((value.empty() || ListHasBare(kav_xml::kEventAttributeNames, name)) && name != "alt") {
      removeAndRestart();
      continue;
    }

    currentAttr = attr;
    int valid = 0;
    if (repairUndeclared && !HasAttrDecl(doc, node, attr)) {
      // What PrintError does for the error libxml2 would raise here.
      RemoveAttr(node, reinterpret_cast<const char*>(attr->name));
      g_start_flag = true;
    } else {
      xmlChar* text = xmlNodeListGetString(doc, attr->children, 0);
      valid = xmlValidateOneAttribute(ctxt, doc, node, attr, text);
      if (text != nullptr) xmlFree(text);
    }
    result = Both(result, valid);
    if (g_start_flag) {
      g_start_flag = false;
      restart();
      continue;
    }
    attr = attr->next;
  }
  g_start_flag = false;
  return result;
}

}  // namespace

void XMLBase::PrintError(void* ctx, const char* /*msg*/, ...) {
  // libxml2 copies each error into the thread's last-error record before it
  // calls the validity handler, so the record holds this error's code, its
  // first string and its node; the formatted message is not needed.
  auto* state = static_cast<TRepairState*>(ctx);
  if (state == nullptr || state->lastError == nullptr) return;
  // A repair must see the element with its children.
  if (state->index != nullptr) state->index->Reveal();
  const xmlError* error = state->lastError;
  auto* node = static_cast<xmlNode*>(error->node);
  if (node != nullptr && node->type != XML_ELEMENT_NODE) node = nullptr;
  const char* str1 = error->str1;

  switch (error->code) {
    case XML_ERR_DOCUMENT_EMPTY:
    case XML_DTD_ATTRIBUTE_DEFAULT:
    case XML_DTD_ATTRIBUTE_VALUE:
      ResetAttributeValue(node, state->currentAttr != nullptr ? *state->currentAttr : nullptr);
      break;
    case XML_DTD_INVALID_CHILD:
    case XML_DTD_UNKNOWN_ELEM:
      RepairChild(node, str1, state->pending, state->index);
      break;
    case XML_DTD_MISSING_ATTRIBUTE:
      if (node == nullptr) break;
      AddMissingAttribute(node, str1, state->pending);
      g_start_flag = true;
      break;
    case XML_DTD_NO_PREFIX:
      if (node != nullptr && str1 != nullptr) ReleaseAttrName(node, str1);
      g_start_flag = true;
      break;
    case XML_DTD_NOT_EMPTY:
      ClearContent(node, state->pending);
      break;
    case XML_DTD_UNKNOWN_ATTRIBUTE:
      if (node != nullptr && str1 != nullptr) RemoveAttr(node, str1);
      g_start_flag = true;
      break;
    default:
      break;
  }
}

void XMLBase::PrintWarning(void* /*ctx*/, xmlError* /*error*/) {}

int XMLBase::xhtmlValidateDtd(xmlValidCtxt* ctxt, xmlDoc* doc, xmlDtd* dtd) {
  if (dtd == nullptr || doc == nullptr || ctxt == nullptr) return 0;
  // The repairs edit the tree directly: no earlier search answer holds.
  ForgetSearches();
  lastFound = nullptr;
  xmlDtd* savedInternal = doc->intSubset;
  xmlDtd* savedExternal = doc->extSubset;
  doc->extSubset = dtd;
  doc->intSubset = nullptr;

  int result = 0;
  if (xmlValidateRoot(ctxt, doc) == 1) {
    if (doc->ids != nullptr) {
      xmlFreeIDTable(static_cast<xmlIDTable*>(doc->ids));
      doc->ids = nullptr;
    }
    FreeRefTable(doc);
    int walked = xhtmlValidateElement(ctxt, doc, xmlDocGetRootElement(doc));
    if (walked == 1) {
      RebuildRefTable(doc, dtd);
      result = Both(xmlValidateDocumentFinal(ctxt, doc), walked);
    } else {
      // After a failed walk the result is 0 whatever the final check says,
      // and the only error it can raise, an unknown id, repairs nothing: it
      // is not run. The references the walk registered may name attributes
      // freed since, so they are dropped, unread.
      FreeRefTable(doc);
    }
  }
  // Whatever it pointed at may be gone by now.
  currentAttr = nullptr;

  doc->intSubset = savedInternal;
  doc->extSubset = savedExternal;
  return result;
}

int XMLBase::xhtmlValidateElement(xmlValidCtxt* ctxt, xmlDoc* doc, xmlNode* node) {
  if (node == nullptr) return 0;
  if (node->type == XML_ENTITY_REF_NODE || node->type == XML_XINCLUDE_START ||
      node->type == XML_XINCLUDE_END) {
    return 1;
  }
  // Without the record of a running clean-up nothing could be queued.
  if (ctxt == nullptr || repairState == nullptr) return 0;
  std::vector<xmlNode*>& pending = repairState->pending;
  auto queue = [&pending](xmlNode* doomed) { pending.push_back(doomed); };
  kav_xml::WalkIndex* index = repairState->index;
  WalkDepth depth(index);
  // A failed part is noted as soon as it fails: from then on the walk's
  // result is 0, which spares later checks that decide nothing else.
  auto note = [index](int r) {
    if (r != 1 && index != nullptr) index->failed = true;
    return r;
  };

  int result = 1;
  const bool hasName = node->name != nullptr;
  // A view of the node's name: a rename ends it, so it is read again after
  // the renames of the name check and not used after that.
  std::string_view name = NodeName(node);
  // Text nodes share libxml2's one "text" name, whose list answers are
  // known beforehand.
  const bool sharedTextName = node->name == xmlStringText;

  // Head material found in the body, scripts, styles and comments go.
  if (name == "body") inBody = 1;
  if (inBody != 0 && hasName &&
      (sharedTextName ? kTextIsHeadOnly : ListHasFramed(kav_xml::kHeadOnlyNames, name))) {
    queue(node);
    return 1;
  }
  if (name == "script" || name == "style" || name == "comment" ||
      node->type == XML_CDATA_SECTION_NODE) {
    queue(node);
    return 1;
  }

  // Unknown elements. The allowed names are matched as substrings, so a
  // fragment of a listed name passes too; that leniency is intended.
  if (hasName && !(sharedTextName ? kTextIsAllowed : ListHasBare(kav_xml::kAllowedNames, name))) {
    xmlNode* parent = node->parent;
    if (ListHasFramed(kav_xml::kBlockNames, name)) {
      ReleaseAttributes(node);
      RenameNode(node, "div");
      // The parent may now hold a div where it allows none.
      if (parent != nullptr) result = note(RevalidateParent(ctxt, doc, parent, repairState));
    } else if (parent != nullptr && parent->name != nullptr &&
               ListHasFramed(kav_xml::kListContainerNames, NodeName(parent))) {
      queue(node);
      return 1;
    } else {
      // A page-break marker is kept for the split that asked for it.
      kav_xml::BreakMarkers* markers = kav_xml::BreakMarkers::Current();
      if (markers != nullptr && kav_xml::BreakMarkers::IsMarkerName(name)) markers->Note(node);
      ReleaseAttributes(node);
      RenameNode(node, "span");
    }
    name = NodeName(node);
  }
  // The name as it stands now decides the rest of the walk, even where the
  // element is renamed on the way.
  WalkKind kind = WalkKindOf(name);

  if (kind == WalkKind::kImg) {
    std::string src;
    if (!GetAttrValue(node, "src", &src)) {
      queue(node);
      return result;
    }
    std::string::size_type dot = src.rfind('.');
    if (dot != std::string::npos &&
        !ListHasFramed(kav_xml::kImageExtensions, std::string_view(src).substr(dot))) {
      queue(node);
      return result;
    }
    if (src.find("http://") != std::string::npos) {
      ShowImageAsText(node, pending);
    } else if (!RewriteLocalReference(node, "src", src, baseDir, resourceDir, externSources)) {
      ShowImageAsText(node, pending);
    }
  }

  // Style sheets: only local ones that exist are kept and copied.
  if (kind == WalkKind::kLink) {
    std::string href;
    if (!GetAttrValue(node, "href", &href) || href.find("http://") != std::string::npos) {
      queue(node);
      return result;
    }
    if (!RewriteLocalReference(node, "href", href, baseDir, resourceDir, externSources)) {
      queue(node);
      return result;
    }
  }

  if (kind == WalkKind::kTable) {
    // Compares the table's own name, never the child's, so it never fires;
    // kept in this form on purpose.
    for (xmlNode* child = node->children; child != nullptr; child = child->next) {
      if (xmlStrEqual(node->name, BAD_CAST "span")) queue(child);
    }
  }

  if (kind == WalkKind::kBlockquote) {
    ReleaseAttributes(node);
    RenameNode(node, "div");
    kind = WalkKind::kDiv;
  }
  if (kind == WalkKind::kDiv) RemoveAttr(node, "style");

  if (kind == WalkKind::kA) {
    std::string href;
    if (node->properties == nullptr) {
      RenameNode(node, "span");
    } else if (GetAttrValue(node, "href", &href)) {
      if (href.find("javascript:") != std::string::npos) Neutralise(node);
      xmlNode* parent = node->parent;
      if (parent != nullptr && parent->name != nullptr &&
          ListHasFramed(kav_xml::kListContainerNames, NodeName(parent))) {
        if (node->children == nullptr) {
          queue(node);
          return result;
        }
        // The empty name is intended: the link text stays, the element is
        // no longer an anchor.
        ReleaseAttributes(node);
        RenameNode(node, "");
      }
      if (href.find('#') != std::string::npos) {
        anchorLinks.push_back(node);  // resolved once every id is known
      } else if (href.find("http://") != std::string::npos) {
        // A remote file (its last segment has an extension) cannot be
        // followed from inside a book; a remote site can.
        std::string::size_type slash = href.rfind('/');
        std::string_view last = href;
        if (slash != std::string::npos) last.remove_prefix(slash + 1);
        if (last.find('.') != std::string::npos) Neutralise(node);
      } else if (!RewriteLocalReference(node, "href", href, baseDir, resourceDir, externSources)) {
        Neutralise(node);
      }
    }
  }

  result = note(Both(result, xmlValidateOneElement(ctxt, doc, node)));
  if (!pending.empty() && pending.back() == node) return result;

  if (node->type == XML_ELEMENT_NODE) {
    result = note(Both(result, ValidateAttributes(ctxt, doc, node, idList, idOwners, *idIndex,
                                                  currentAttr, repairState)));
    for (xmlNs* ns = node->nsDef; ns != nullptr; ns = ns->next) {
      const xmlChar* prefix = node->ns != nullptr ? node->ns->prefix : nullptr;
      result = note(Both(result, xmlValidateOneNamespace(ctxt, doc, node, prefix, ns, ns->href)));
    }
  }

  // The next sibling is read after each child is done with: a child's
  // repairs may have emptied this node.
  xmlNode* child = node->children;
  while (child != nullptr) {
    result = note(Both(result, xhtmlValidateElement(ctxt, doc, child)));
    child = child->next;
  }
  return result;
}

char* XMLBase::GetXhtmlExternSource() {
  if (externSources.empty()) return nullptr;
  const std::string& path = externSources.back();
  char* copy = static_cast<char*>(std::malloc(path.size() + 1));
  if (copy == nullptr) return nullptr;
  std::memset(copy, 0, path.size() + 1);
  std::memcpy(copy, path.data(), path.size());
  externSources.pop_back();
  return copy;
}
