#ifndef KAV_EPUB_XML_XML_BASE_H_
#define KAV_EPUB_XML_XML_BASE_H_

#include <libxml/tree.h>
#include <libxml/valid.h>
#include <libxml/xmlerror.h>
#include <libxml/xpath.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "service/kav_export.h"

// One attribute of an element: a chain through next, in the order the
// attributes are written. Names and values longer than their fields must be
// cut by whoever fills them (see SetAttrInfo).
struct XMLAttrInfo {
  char name[256];
  char value[256];
  XMLAttrInfo* next;
};

// Copies name and value into info, cutting each to 255 bytes, and links it
// to next. Returns info. Internal to the library.
XMLAttrInfo* SetAttrInfo(XMLAttrInfo* info, const char* name, const char* value, XMLAttrInfo* next);

// The record of one running HTML clean-up, handed to libxml2's validity
// handlers as their user data.
namespace kav_xml {
class IdIndex;
class WalkIndex;
}

struct TRepairState {
  xmlError* lastError;            // libxml2's last-error record
  xmlAttr** currentAttr;          // the attribute being validated
  std::vector<xmlNode*> pending;  // nodes to delete after the walk
  kav_xml::WalkIndex* index;      // what the walk knows of children, or null
};

// One libxml2 document and the operations every document of a book is
// written with. Elements are reached by node paths: element names joined by
// "/" (or "\" when the path has no "/"), each optionally followed by "-N"
// for the N-th occurrence. Result codes are 0 for success or one of the
// library's codes (401, 411, 413, 415, 416, ...). Not thread-safe; HTML
// clean-ups are one at a time per process.
class KAV_EXPORT XMLBase {
 public:
  XMLBase();
  virtual ~XMLBase();
  XMLBase(const XMLBase&) = delete;
  XMLBase& operator=(const XMLBase&) = delete;

  // Frees the document but leaves doc pointing at it: the object must be
  // neither used nor destroyed afterwards.
  void Destroy();

  // A new document with the html document type of XHTML 1.1 (pages, the
  // navigation document and the container file). 401 when it fails.
  unsigned int Init();
  // A new document without a document type (the package document).
  unsigned int InitForOpf();

  // Appends element name under the element parentPath names (or makes it the
  // root when parentPath is null), with the attributes of the attrs chain.
  unsigned int AddXMLNode(const char* parentPath, const char* name, XMLAttrInfo* attrs);
  // Sets the text of the element path names (entity references are read).
  unsigned int AddTextToNode(const char* path, const char* text);
  unsigned int SetNodeAttribute(const char* path, const char* name, const char* value);

  // First match, with occurrence indices.
  xmlNode* FindNode(xmlNode* start, const char* path);
  // Newest match; may answer from the node it found last (see lastFound).
  xmlNode* FindLastNode(xmlNode* start, const char* path);

  // The libxml2 document, null before Init; owned by this object.
  xmlDoc* Document() const { return doc; }

  // Writes the document unformatted in UTF-8.
  unsigned int SaveFile(const char* fileName);

  // Evaluates xpath on doc; null when nothing matched. The caller frees the
  // result with xmlXPathFreeObject.
  static xmlXPathObject* GetNodeSet(xmlDoc* doc, const xmlChar* xpath);
  // An unattached head with title and the book's style sheet link.
  static xmlNode* GenerateHeadNode(const char* title);
  // Removes comments and CDATA sections from first, its siblings and their
  // subtrees. 415 for a null node.
  unsigned int DelCommentNode(xmlNode* first);
  unsigned int DelNode(xmlNode* node);

  // Replaces every occurrence of pattern, from the end towards the start;
  // length characters are removed at each. Returns text.
  static std::string& ReplaceString(std::string& text, const char* pattern, int length,
                                    const char* replacement);
  // Decodes the URL escapes of a fixed set of reserved characters in place.
  static std::string& PercentEncoding(std::string& text);

  // Validity handlers installed on the validation context of HtmlProcess.
  static void PrintError(void* ctx, const char* msg, ...);
  static void PrintWarning(void* ctx, xmlError* error);
  // Validates and repairs doc against dtd; 1 when valid.
  int xhtmlValidateDtd(xmlValidCtxt* ctxt, xmlDoc* doc, xmlDtd* dtd);
  int xhtmlValidateElement(xmlValidCtxt* ctxt, xmlDoc* doc, xmlNode* node);
  // The next local file the processed document refers to, newest first,
  // malloc'ed (the caller frees it); null when there are no more.
  char* GetXhtmlExternSource();

  // Rebuilds the HTML file htmlPath as a valid XHTML 1.0 Strict document in
  // this object, which must be fresh and initialised with Init.
  int HtmlProcess(const char* htmlPath, const char* baseDir, const char* title,
                  const char* dtdPath);
  // Rewrites the recindex image references of MOBI HTML in place.
  static int MobiHtmlProcess(const char* htmlPath, const char* encoding,
                             std::vector<std::string>& images);

 protected:
  xmlDoc* doc;
  xmlNode* root;
  std::string resourceDir;
  xmlAttr* currentAttr;
  std::vector<std::string> externSources;
  std::vector<xmlNode*> anchorLinks;
  TRepairState* repairState;
  std::string baseDir;
  std::string idList;
  int inBody;
  std::vector<xmlNode*> idOwners;
  xmlNode* lastFound;

 private:
  // Answers the questions asked of idList and idOwners without scanning
  // them; kept in step with both by every registration.
  std::unique_ptr<kav_xml::IdIndex> idIndex;

  // Forgets remembered searches; called whenever nodes may have gone.
  void ForgetSearches();
  // Forgets lastFound when it lies below node (whose children are going).
  void ForgetFoundBelow(const xmlNode* node);

  // Answers of full searches for one element name from the root. An answer
  // stays right until an element of that name is added or nodes are removed,
  // so a book of many pages does not search its whole spine per record.
  // Ordered with std::less<> so that a path is looked up without a copy.
  std::map<std::string, xmlNode*, std::less<>> rootSearches;
};

#endif  // KAV_EPUB_XML_XML_BASE_H_
