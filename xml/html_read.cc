#include "xml/html_read.h"

#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include <cstring>
#include <vector>

namespace kav_xml {
namespace {

thread_local bool t_keepAll = false;

// Neither name is declared for p or blockquote, nor for what either can
// become: a p keeps its name unless it loses every attribute (made a span,
// or dropped), and a blockquote always loses every attribute. So the
// attribute pass would remove both wherever they stand.
bool AlwaysRemoved(const xmlChar* element, const xmlChar* attribute) {
  const char* e = reinterpret_cast<const char*>(element);
  const char* a = reinterpret_cast<const char*>(attribute);
  if (std::strcmp(e, "p") != 0 && std::strcmp(e, "blockquote") != 0) return false;
  return std::strcmp(a, "height") == 0 || std::strcmp(a, "width") == 0;
}

// The parser's own element handler, called with the attributes kept.
struct Hook {
  startElementSAXFunc start = nullptr;
  std::vector<const xmlChar*> kept;
};

void StartElement(void* context, const xmlChar* name, const xmlChar** atts) {
  auto* ctxt = static_cast<htmlParserCtxt*>(context);
  auto* hook = static_cast<Hook*>(ctxt->_private);
  bool any = false;
  if (name != nullptr && atts != nullptr) {
    for (size_t i = 0; atts[i] != nullptr && !any; i += 2) any = AlwaysRemoved(name, atts[i]);
  }
  if (!any) {
    hook->start(context, name, atts);
    return;
  }
  // The array holds name and value pairs and ends with a null name.
  hook->kept.clear();
  for (size_t i = 0; atts[i] != nullptr; i += 2) {
    if (AlwaysRemoved(name, atts[i])) continue;
    hook->kept.push_back(atts[i]);
    hook->kept.push_back(atts[i + 1]);
  }
  hook->kept.push_back(nullptr);
  hook->start(context, name, hook->kept.size() > 1 ? hook->kept.data() : nullptr);
}

}  // namespace

KeepAllAttributes::KeepAllAttributes() : previous_(t_keepAll) { t_keepAll = true; }
KeepAllAttributes::~KeepAllAttributes() { t_keepAll = previous_; }

xmlDoc* ReadHtmlForCleanup(const char* path, int options) {
  // What htmlReadFile does, with the element handler wrapped.
  xmlInitParser();
  htmlParserCtxt* ctxt = htmlCreateFileParserCtxt(path, "UTF-8");
  if (ctxt == nullptr) return nullptr;
  htmlCtxtUseOptions(ctxt, options);
  ctxt->html = 1;
  Hook hook;
  if (!t_keepAll && ctxt->sax != nullptr && ctxt->sax->startElement != nullptr &&
      ctxt->_private == nullptr) {
    hook.start = ctxt->sax->startElement;
    ctxt->_private = &hook;
    ctxt->sax->startElement = StartElement;
  }
  htmlParseDocument(ctxt);
  xmlDoc* doc = ctxt->myDoc;
  ctxt->myDoc = nullptr;
  if (ctxt->dictNames != 0 && doc != nullptr && doc->dict == ctxt->dict) ctxt->dict = nullptr;
  ctxt->_private = nullptr;
  xmlFreeParserCtxt(ctxt);
  return doc;
}

}  // namespace kav_xml
