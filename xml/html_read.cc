#include "xml/html_read.h"

#include <libxml/HTMLparser.h>
#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlstring.h>

#include <vector>

namespace kav_xml {
namespace {

thread_local bool t_keepAll = false;

// Neither attribute is declared for p or blockquote, nor for what either
// can become: a p keeps its name unless it loses every attribute (made a
// span, or dropped), and a blockquote always loses every attribute. So the
// attribute pass would remove both wherever they stand.
bool LosesHeightAndWidth(const xmlChar* element) {
  return xmlStrEqual(element, BAD_CAST "p") || xmlStrEqual(element, BAD_CAST "blockquote");
}

bool IsHeightOrWidth(const xmlChar* attribute) {
  return xmlStrEqual(attribute, BAD_CAST "height") || xmlStrEqual(attribute, BAD_CAST "width");
}

// The parser's own element handler, called with the attributes kept.
struct Hook {
  startElementSAXFunc start = nullptr;
  std::vector<const xmlChar*> kept;
};

void StartElement(void* context, const xmlChar* name, const xmlChar** atts) {
  auto* hook = static_cast<Hook*>(static_cast<htmlParserCtxt*>(context)->_private);
  if (atts == nullptr || !LosesHeightAndWidth(name)) {
    hook->start(context, name, atts);
    return;
  }
  // Name and value pairs, ended as the parser ends them: by a pair of nulls,
  // both of which libxml2's handler reads; no attributes at all is null.
  hook->kept.clear();
  for (size_t i = 0; atts[i] != nullptr; i += 2) {
    if (IsHeightOrWidth(atts[i])) continue;
    hook->kept.push_back(atts[i]);
    hook->kept.push_back(atts[i + 1]);
  }
  const bool none = hook->kept.empty();
  hook->kept.insert(hook->kept.end(), 2, nullptr);
  hook->start(context, name, none ? nullptr : hook->kept.data());
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
