#ifndef KAV_EPUB_TESTS_XML_CLEANED_PAGE_H_
#define KAV_EPUB_TESTS_XML_CLEANED_PAGE_H_

#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <libxml/valid.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "service/kav_result.h"
#include "support/test_support.h"
#include "xml/xhtml1_strict_dtd.h"
#include "xml/xml_base.h"

// An XMLBase whose document and clean-up record the tests may read.
class CleanedPage : public XMLBase {
 public:
  xmlDoc* Doc() const { return doc; }
  TRepairState* State() const { return repairState; }
};

// The children of node serialised one after the other.
inline std::string InnerXml(xmlNode* node) {
  if (node == nullptr) return "(none)";
  xmlBuffer* buffer = xmlBufferCreate();
  for (xmlNode* child = node->children; child != nullptr; child = child->next) {
    xmlNodeDump(buffer, node->doc, child, 0, 0);
  }
  std::string text(reinterpret_cast<const char*>(xmlBufferContent(buffer)));
  xmlBufferFree(buffer);
  return text;
}

inline xmlNode* ChildNamed(xmlNode* node, const char* name) {
  xmlNode* child = node != nullptr ? node->children : nullptr;
  while (child != nullptr && !xmlStrEqual(child->name, BAD_CAST name)) child = child->next;
  return child;
}

// A working directory with the DTD written from the embedded text, and a
// folder "src" for the source page and its resources. Each Clean* call
// cleans the source into a fresh page.
class CleanupTest : public ::testing::Test {
 protected:
  CleanupTest() : dtd_(dir_ / "xhtml1-strict.dtd"), src_(dir_ / "src") {
    kavtest::WriteFile(dtd_, kXhtml1StrictDtd[0]);
    kavtest::MakeDirs(src_);
  }
  ~CleanupTest() override { xmlFreeDoc(saved_); }

  int CleanBody(const std::string& body) {
    return CleanSource("<html><head><title>S</title></head><body>" + body + "</body></html>");
  }
  int CleanSource(const std::string& html) {
    kavtest::WriteFile(src_ + "/page.html", html);
    return CleanFile(src_ + "/page.html", dtd_);
  }
  int CleanFile(const std::string& path, const std::string& dtd) {
    page_ = std::make_unique<CleanedPage>();
    EXPECT_CODE(KAV_OK, page_->Init());
    return page_->HtmlProcess(path.c_str(), src_.c_str(), "Title", dtd.c_str());
  }

  // The body of what SaveFile wrote, parsed back as XML.
  std::string SavedBody() {
    std::string path = dir_ / "saved.html";
    EXPECT_CODE(KAV_OK, page_->SaveFile(path.c_str()));
    xmlFreeDoc(saved_);
    saved_ =
        xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_HUGE);
    if (saved_ == nullptr) return "not well-formed";
    return InnerXml(ChildNamed(xmlDocGetRootElement(saved_), "body"));
  }
  // Whether the document SavedBody read is valid against the DTD (libxml2
  // tells on stderr what is not).
  bool SavedIsValid() {
    xmlDtd* dtd = xmlParseDTD(nullptr, BAD_CAST dtd_.c_str());
    xmlValidCtxt* context = xmlNewValidCtxt();
    bool valid = saved_ != nullptr && xmlValidateDtd(context, saved_, dtd) == 1;
    xmlFreeValidCtxt(context);
    xmlFreeDtd(dtd);
    return valid;
  }
  // The local files the page refers to, in the order they are handed out.
  std::vector<std::string> ExternSources() {
    std::vector<std::string> sources;
    while (char* source = page_->GetXhtmlExternSource()) {
      sources.push_back(source);
      free(source);
    }
    return sources;
  }
  void MakeSourceFile(const std::string& relative) {
    std::string path = src_ + "/" + relative;
    kavtest::MakeDirs(path.substr(0, path.rfind('/')));
    kavtest::WriteFile(path, "data");
  }

  kavtest::TempDir dir_;
  std::string dtd_;
  std::string src_;
  std::unique_ptr<CleanedPage> page_;
  xmlDoc* saved_ = nullptr;
};

#endif  // KAV_EPUB_TESTS_XML_CLEANED_PAGE_H_
