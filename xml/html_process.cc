// Turning one foreign HTML file into a clean XHTML 1.0 Strict document:
// parse leniently, rebuild around a generated head, validate and repair,
// then delete what the repairs condemned, neutralise dangling fragment links
// and wrap loose body content.
#include <libxml/HTMLparser.h>
#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/valid.h>

#include <string>
#include <unordered_set>
#include <vector>

#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"
#include "xml/dtd_cache.h"
#include "xml/html_read.h"
#include "xml/id_index.h"
#include "xml/page_split.h"
#include "xml/repair_nodes.h"
#include "xml/tree_depth.h"
#include "xml/walk_index.h"
#include "xml/xhtml_name_lists.h"
#include "xml/xml_base.h"
#include "xml/xml_string.h"

namespace {

const char kXhtmlNamespace[] = "http://www.w3.org/1999/xhtml";

// Recover, no default document type, no errors, no warnings, and bit 14
// (16384). The value is passed exactly as it stands.
const int kHtmlParseOptions = 16485;
// Without XML_PARSE_HUGE the parser keeps to its depth limit.
static_assert((kHtmlParseOptions & XML_PARSE_HUGE) == 0, "the parse must keep the depth limit");

void IgnoreGeneric(void*, const char*, ...) {}

// For the length of a clean-up, libxml2's generic reports (a missing file,
// an unparsable DTD) go nowhere, and no process-wide structured handler may
// take the validity errors away from the context's own handlers, which do
// the repairs. The previous handlers of this thread come back afterwards.
class ErrorRouting {
 public:
  ErrorRouting()
      : generic_(xmlGenericError),
        genericContext_(xmlGenericErrorContext),
        structured_(xmlStructuredError),
        structuredContext_(xmlStructuredErrorContext) {
    xmlSetGenericErrorFunc(nullptr, IgnoreGeneric);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
  }
  ~ErrorRouting() {
    xmlSetGenericErrorFunc(genericContext_, generic_);
    xmlSetStructuredErrorFunc(structuredContext_, structured_);
  }
  ErrorRouting(const ErrorRouting&) = delete;
  ErrorRouting& operator=(const ErrorRouting&) = delete;

 private:
  xmlGenericErrorFunc generic_;
  void* genericContext_;
  xmlStructuredErrorFunc structured_;
  void* structuredContext_;
};

void CollectSubtree(xmlNode* top, std::unordered_set<xmlNode*>& nodes) {
  xmlNode* node = top;
  while (node != nullptr) {
    nodes.insert(node);
    if (node->children != nullptr && node->type != XML_ENTITY_REF_NODE) {
      node = node->children;
      continue;
    }
    while (node != top && node->next == nullptr && node->parent != nullptr) node = node->parent;
    if (node == top || node->next == nullptr) break;
    node = node->next;
  }
}

// Deletes the queued nodes, newest first, each once. All are unlinked
// before any is freed: a queued node may lie inside another queued subtree,
// and freeing the outer one first would free it, too. Returns every node
// that left the document, descendants included.
std::unordered_set<xmlNode*> DeletePending(std::vector<xmlNode*>& pending) {
  std::vector<xmlNode*> deleted;
  std::unordered_set<xmlNode*> seen;
  while (!pending.empty()) {
    xmlNode* node = pending.back();
    pending.pop_back();
    if (node == nullptr || !seen.insert(node).second) continue;
    deleted.push_back(node);
  }
  for (xmlNode* node : deleted) xmlUnlinkNode(node);
  std::unordered_set<xmlNode*> gone;
  for (xmlNode* node : deleted) CollectSubtree(node, gone);
  for (xmlNode* node : deleted) xmlFreeNode(node);
  return gone;
}

// Wraps every child of body that is not block-level in a div of its own.
void WrapLooseContent(xmlNode* body) {
  xmlNode* child = body->children;
  while (child != nullptr) {
    xmlNode* next = child->next;
    if (child->name != nullptr &&
        !kav_xml::ListHasFramed(kav_xml::kBlockNames, kav_xml::NodeName(child))) {
      kav_xml::XmlString divName("div");
      xmlNode* div = xmlNewNode(nullptr, divName.get());
      if (div == nullptr) return;
      xmlReplaceNode(child, div);
      xmlAddChild(div, child);
      next = div->next;
    }
    child = next;
  }
}

}  // namespace

int XMLBase::HtmlProcess(const char* htmlPath, const char* baseDir, const char* title,
                         const char* dtdPath) {
  if (doc == nullptr) return KAV_ERR_NO_DOCUMENT;
  // The clean-up edits the tree directly: no earlier search answer holds.
  ForgetSearches();
  lastFound = nullptr;
  ErrorRouting routing;

  resourceDir = "";
  this->baseDir = baseDir != nullptr ? baseDir : "";

  XMLAttrInfo xmlns = {};
  SetAttrInfo(&xmlns, "xmlns", kXhtmlNamespace, nullptr);
  AddXMLNode(nullptr, "html", &xmlns);

  if (KavIsStrNullOrEmpty(htmlPath)) return KAV_ERR_OPEN;
  xmlDoc* source = kav_xml::ReadHtmlForCleanup(htmlPath, kHtmlParseOptions);
  if (source == nullptr) return KAV_ERR_OPEN;
  xmlNode* sourceRoot = xmlDocGetRootElement(source);
  if (sourceRoot == nullptr) {
    xmlFreeDoc(source);
    return KAV_ERR_NO_ELEMENT;
  }
  // The bound keeps the copy and the walk below safe. libxml2's parser
  // itself stops nesting at xmlParserMaxDepth levels (the options leave out
  // XML_PARSE_HUGE); only where that limit has been raised towards the
  // bound can a tree be too deep, and only then is it walked to find out.
  if (xmlParserMaxDepth > kav_xml::kMaxTreeDepth / 2) {
    kav_xml::PruneBelowDepth(sourceRoot, kav_xml::kMaxTreeDepth);
  }

  xmlNode* html = FindNode(root, "html");
  xmlNode* head = GenerateHeadNode(title != nullptr ? title : "");
  if (html == nullptr) {
    // Only when the root element could not be made at all.
    if (head != nullptr) xmlFreeNode(head);
    xmlFreeDoc(source);
    return KAV_ERR_XML_CREATE;
  }
  xmlAddChild(html, head);

  xmlNode* sourceBody = FindNode(sourceRoot, "body");
  if (sourceBody == nullptr) {
    xmlFreeDoc(source);
    return KAV_ERR_NO_ELEMENT;
  }
  // The body moves over rather than being copied, so that the page is never
  // held twice: the largest part of an import's memory. Taking it into the
  // new document copies its names out of the parser's dictionary, which goes
  // with the parsed document.
  xmlNode* body = sourceBody;
  xmlUnlinkNode(body);
  xmlAddChild(html, body);
  xmlFreeDoc(source);

  // libxml2 reads the DTD path as a URI.
  std::string dtdUri = dtdPath != nullptr ? dtdPath : "";
  ReplaceString(dtdUri, " ", 1, "%20");
  kav_xml::XmlString uri(dtdUri.c_str());
  xmlDtd* dtd = kav_xml::CachedDtd(dtdPath != nullptr ? dtdPath : "", uri.get());
  if (dtd == nullptr) return KAV_ERR_MISSING;

  xmlValidCtxt* context = xmlNewValidCtxt();
  if (context == nullptr) return KAV_ERR_VALID_CTXT;
  auto* state = new TRepairState();
  // This thread's last-error record (__xmlLastError()). libxml2 2.9 copies
  // each validity error into it before calling the context's handler, so
  // PrintError finds the code, first string and node there.
  state->lastError = &xmlLastError;
  state->currentAttr = &currentAttr;
  repairState = state;
  context->userData = state;
  context->error = PrintError;
  // The warning handler does nothing and reads none of its arguments, so
  // the differing parameter list is harmless.
  context->warning =
      reinterpret_cast<xmlValidityWarningFunc>(reinterpret_cast<void (*)()>(&PrintWarning));

  {
    kav_xml::WalkIndex index;
    kav_xml::WalkIndexScope scope(&index);
    state->index = &index;
    xhtmlValidateDtd(context, doc, dtd);
    state->index = nullptr;
  }
  xmlFreeValidCtxt(context);

  std::unordered_set<xmlNode*> gone = DeletePending(state->pending);
  if (kav_xml::BreakMarkers* markers = kav_xml::BreakMarkers::Current()) markers->Forget(gone);

  while (!anchorLinks.empty()) {
    xmlNode* anchor = anchorLinks.back();
    anchorLinks.pop_back();
    if (anchor == nullptr || gone.count(anchor) != 0) continue;
    std::string href;
    if (!kav_xml::GetAttrValue(anchor, "href", &href)) continue;
    // Only a fragment that names an id the walk registered resolves.
    if (!idIndex->HasFragmentKey(idList, href)) kav_xml::Neutralise(anchor);
  }

  if (body != nullptr && gone.count(body) == 0) WrapLooseContent(body);

  delete state;
  repairState = nullptr;
  return KAV_OK;
}
