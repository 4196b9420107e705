#include "platform/mobi/contained_references.h"

#include <libxml/HTMLparser.h>
#include <libxml/HTMLtree.h>
#include <libxml/parserInternals.h>

#include <climits>
#include <string_view>

#include "platform/mobi/break_end_tags.h"
#include "platform/mobi/quiet_libxml2.h"

namespace kavmobi {
namespace {

// The importer's own parse options: what it sees is what is checked here.
constexpr int kImporterParseOptions = 16485;

bool HasUrlScheme(const std::string& value) {
  auto letter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
  if (value.empty() || !letter(value[0])) return false;
  for (char c : value) {
    if (c == ':') return true;
    if (!letter(c) && !(c >= '0' && c <= '9') && c != '+' && c != '.' && c != '-') return false;
  }
  return false;
}

// Raw text that could become "..", a separator or an escape once entities
// and percent escapes are decoded. Ellipses in prose seldom match.
bool MayHoldPath(std::string_view html) {
  for (std::string_view trace : {"../", "/..", "\"..", "'..", "=..", "..\\", "\\..", "&#", "%2e",
                                 "%2E", "%2f", "%2F", "%5c", "%5C"}) {
    if (html.find(trace) != std::string_view::npos) return true;
  }
  return false;
}

bool IsReferenceName(const xmlChar* name) {
  return xmlStrcasecmp(name, BAD_CAST "src") == 0 || xmlStrcasecmp(name, BAD_CAST "href") == 0;
}

// The check streams through the importer's own tokenizer, building no tree.
void CheckStartTag(void* context, const xmlChar*, const xmlChar** attrs) {
  auto* ctxt = static_cast<htmlParserCtxtPtr>(context);
  bool* allContained = static_cast<bool*>(ctxt->_private);
  for (int i = 0; attrs != nullptr && attrs[i] != nullptr; i += 2) {
    if (IsReferenceName(attrs[i]) &&
        (attrs[i + 1] == nullptr ||
         !IsContainedReference(reinterpret_cast<const char*>(attrs[i + 1])))) {
      *allContained = false;
    }
  }
}

// The same answer without a parse, for markup the plain scan follows to the
// end: its start tags are the parser's, and a value without character
// references is the value the parser hands on. A refusal means "ask the
// parser".
bool PlainlyContained(std::string_view name, const std::string_view* value) {
  if (!(name.size() == 3 && xmlStrncasecmp(BAD_CAST name.data(), BAD_CAST "src", 3) == 0) &&
      !(name.size() == 4 && xmlStrncasecmp(BAD_CAST name.data(), BAD_CAST "href", 4) == 0)) {
    return true;
  }
  return value != nullptr && value->find('&') == std::string_view::npos &&
         IsContainedReference(std::string(*value));
}

bool AllContained(const std::string& html) {
  htmlParserCtxtPtr ctxt = htmlCreateMemoryParserCtxt(html.data(), static_cast<int>(html.size()));
  if (ctxt == nullptr) return false;
  bool allContained = true;
  *ctxt->sax = htmlSAXHandler{};
  ctxt->sax->startElement = CheckStartTag;
  ctxt->_private = &allContained;
  htmlCtxtUseOptions(ctxt, kImporterParseOptions);
  xmlSwitchEncoding(ctxt, XML_CHAR_ENCODING_UTF8);
  htmlParseDocument(ctxt);
  htmlFreeParserCtxt(ctxt);
  return allContained;
}

// Removes every uncontained src/href below node.
void RemoveUncontained(xmlNode* node) {
  // Iterative walk: a hostile book may nest elements deeply.
  while (node != nullptr) {
    if (node->type == XML_ELEMENT_NODE) {
      for (xmlAttr* attr = node->properties; attr != nullptr;) {
        xmlAttr* next = attr->next;
        if (IsReferenceName(attr->name)) {
          xmlChar* value = xmlNodeListGetString(node->doc, attr->children, 1);
          if (value == nullptr || !IsContainedReference(reinterpret_cast<const char*>(value))) {
            xmlRemoveProp(attr);
          }
          xmlFree(value);
        }
        attr = next;
      }
      if (node->children != nullptr) {
        node = node->children;
        continue;
      }
    }
    while (node != nullptr && node->next == nullptr) node = node->parent;
    if (node != nullptr) node = node->next;
  }
}

// What the plain scan could not answer: the parser's tree, cleaned and
// written out again when it holds an uncontained reference.
std::string CheckedByParse(std::string html) {
  // What cannot be parsed here cannot be checked: no text is safer than
  // text the importer might read differently.
  if (html.size() > static_cast<size_t>(INT_MAX)) return std::string();
  QuietLibxml2 quiet;
  if (AllContained(html)) return html;
  htmlDocPtr doc = htmlReadMemory(html.data(), static_cast<int>(html.size()), nullptr, "UTF-8",
                                  kImporterParseOptions);
  if (doc == nullptr) return std::string();
  RemoveUncontained(xmlDocGetRootElement(doc));
  xmlChar* out = nullptr;
  int size = 0;
  htmlDocDumpMemoryFormat(doc, &out, &size, 0);
  html.assign(out != nullptr ? reinterpret_cast<const char*>(out) : "", out != nullptr ? size : 0);
  xmlFree(out);
  xmlFreeDoc(doc);
  return html;
}

}  // namespace

bool IsContainedReference(const std::string& value) {
  if (!value.empty() && value[0] == '#') return true;
  if (HasUrlScheme(value)) return true;  // a missing "scheme:" directory stops any path
  return !value.empty() && value[0] != '.' && value.find_first_of("/\\%") == std::string::npos;
}

std::string WithContainedReferences(std::string html) {
  if (!MayHoldPath(html)) return html;
  if (html.size() <= static_cast<size_t>(INT_MAX) &&
      EveryAttributeOfPlainMarkup(html, PlainlyContained)) {
    return html;
  }
  return CheckedByParse(std::move(html));
}

std::string WithContainedReferencesAndNoBreakEndTags(std::string html) {
  // Dropping the end tags neither makes nor breaks a trace of a path: what
  // precedes each is a tag's '>'.
  if (!MayHoldPath(html)) return WithoutBreakEndTags(std::move(html));
  bool plainlyContained = false;
  html = WithoutBreakEndTags(std::move(html), PlainlyContained, &plainlyContained);
  if (plainlyContained && html.size() <= static_cast<size_t>(INT_MAX)) return html;
  return CheckedByParse(std::move(html));
}

}  // namespace kavmobi
