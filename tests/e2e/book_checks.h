#ifndef KAV_EPUB_TESTS_E2E_BOOK_CHECKS_H_
#define KAV_EPUB_TESTS_E2E_BOOK_CHECKS_H_

// Reading a finished book as a reader would: unpacked, parsed, and checked
// by epubcheck; and running the tools that make or inspect it.

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "service/kav_epub.h"
#include "support/test_support.h"

namespace kave2e {

using Strings = std::vector<std::string>;
using Book = std::map<std::string, kavtest::ZipEntry>;

// epubcheck findings that follow from the book's fixed design, each with its
// reason. A test passes the ones its book can show.
inline const std::map<std::string, std::string>& InevitableFindings() {
  static const std::map<std::string, std::string> reasons = {
      {"HTM-004", "toc.ncx and the pages carry the XHTML 1.1 document type by design"},
      {"RSC-005",
       "a book without a cover keeps an empty guide element; pages are stored flat under "
       "their file names, so a page that two HTML imports reach, or pages of one name in "
       "different folders, get a navigation point each to one file, with different play "
       "orders"},
      {"NCX-001",
       "the OPF and NCX identifiers are read from the clock separately and differ "
       "when a second passes between them"},
      {"OPF-085", "the identifier is urn:uuid:id_ and local time digits, not a UUID"},
      {"OPF-055", "the one-call text conversion gives every book an empty title"},
      {"OPF-029", "a cover is always labelled image/jpeg, whatever it is"},
      {"RSC-010", "pages named .htm are typed image/htm, so links to them point at no page"},
      {"RSC-012",
       "fragment links are checked against the ids the page clean-up registered; an anchor "
       "that owns a registered id but links to no id itself becomes a span afterwards, "
       "and links to its id dangle"},
  };
  return reasons;
}
inline const Strings kUsualFindings = {"HTM-004", "RSC-005", "NCX-001", "OPF-085"};

// Runs epubcheck and fails the test for every finding not in allowed.
inline void ExpectOnlyFindings(const std::string& epub, const Strings& allowed) {
  std::string report;
  for (const auto& f : kavtest::RunEpubcheck(epub, &report)) {
    bool ok = false;
    for (const std::string& code : allowed) ok = ok || f.code == code;
    if (ok) {
      ASSERT_EQ(1u, InevitableFindings().count(f.code)) << f.code << " has no stated reason";
    }
    EXPECT_TRUE(ok) << f.severity << "(" << f.code << "):" << f.message << "\n" << report;
  }
  // A run that never reached the book would show no findings either.
  EXPECT_NE(std::string::npos, report.find("EPUB version 2")) << "epubcheck did not check:\n"
                                                              << report;
}

// The text of every node an XPath expression selects in an XML document
// (prefixes opf, dc, ncx and x for XHTML are bound).
inline Strings XPathTexts(const std::string& xml, const std::string& path) {
  Strings texts;
  xmlDoc* doc = xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "book.xml", nullptr,
                              XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
  if (doc == nullptr) {
    ADD_FAILURE() << "not well-formed XML:\n" << xml.substr(0, 2000);
    return texts;
  }
  xmlXPathContext* context = xmlXPathNewContext(doc);
  xmlXPathRegisterNs(context, BAD_CAST "opf", BAD_CAST "http://www.idpf.org/2007/opf");
  xmlXPathRegisterNs(context, BAD_CAST "dc", BAD_CAST "http://purl.org/dc/elements/1.1/");
  xmlXPathRegisterNs(context, BAD_CAST "ncx", BAD_CAST "http://www.daisy.org/z3986/2005/ncx/");
  xmlXPathRegisterNs(context, BAD_CAST "x", BAD_CAST "http://www.w3.org/1999/xhtml");
  xmlXPathObject* result = xmlXPathEvalExpression(BAD_CAST path.c_str(), context);
  if (result != nullptr && result->nodesetval != nullptr) {
    for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
      xmlChar* text = xmlNodeGetContent(result->nodesetval->nodeTab[i]);
      texts.push_back(text != nullptr ? reinterpret_cast<char*>(text) : "");
      xmlFree(text);
    }
  }
  xmlXPathFreeObject(result);
  xmlXPathFreeContext(context);
  xmlFreeDoc(doc);
  return texts;
}

// The book's archive entries by name.
inline Book ReadBook(const std::string& epub) {
  Book byName;
  for (const auto& e : kavtest::ReadZip(epub)) byName[e.name] = e;
  return byName;
}

using kavtest::RunCommand;

// Runs kav-epub after a shell prefix (an environment setting or a "cd").
inline int KavEpub(const std::string& prefix, const std::string& arguments, std::string* output) {
  return RunCommand(prefix + " '" + kavtest::BuildPath("kav-epub") + "' " + arguments, output);
}

// A test that runs kav-epub with TMPDIR inside its own directory, so that the
// tool's working directories can be checked afterwards.
class KavEpubTest : public ::testing::Test {
 protected:
  void SetUp() override { kavtest::MakeDirs(tmp_); }
  int Run(const std::string& arguments, std::string* output) {
    return KavEpub("TMPDIR='" + tmp_ + "'", arguments, output);
  }
  // The tool's working directories left in tmp_ (valgrind, when it runs the
  // tool, keeps files of its own there too).
  Strings WorkDirsLeft() const {
    Strings left;
    for (const auto& entry : std::filesystem::directory_iterator(tmp_)) {
      const std::string name = entry.path().filename();
      if (name.compare(0, 9, "kav-epub-") == 0) left.push_back(name);
    }
    return left;
  }
  kavtest::TempDir dir_;
  std::string tmp_ = dir_ / "tmp";
};

// size bytes drawn from alphabet, or any bytes when it is empty.
inline std::string RandomBytes(size_t size, unsigned seed, const std::string& alphabet = "") {
  std::mt19937 generator(seed);
  std::string bytes(size, '\0');
  for (char& c : bytes) {
    unsigned value = generator();
    c = alphabet.empty() ? static_cast<char>(value) : alphabet[value % alphabet.size()];
  }
  return bytes;
}

using Fill = std::function<int(TEpubService*, TEpubData*)>;

// One book through the C record: InitEpub in work (made if missing), fill,
// GenerateEpub into epub, ClearUp; the first nonzero code.
inline int MakeBook(const std::string& work, const std::string& epub, const Fill& fill,
                    const std::string& title = "T", const std::string& author = "A") {
  kavtest::MakeDirs(work);
  TEpubService* service = CreateEpubService();
  int code = service->InitEpub(service->data, work.c_str(), title.c_str(), author.c_str());
  if (code == 0) code = fill(service, service->data);
  if (code == 0) code = service->GenerateEpub(service->data, epub.c_str());
  service->ClearUp(service->data);
  FreeEpubService(service);
  return code;
}

// A page of text lines; the first nonzero code.
inline int AddTextPage(TEpubService* s, TEpubData* d, const Strings& lines) {
  int code = s->StartPage(d);
  for (const std::string& line : lines) code = code ? code : s->AddTextLineToPage(d, line.c_str());
  return code ? code : s->EndPage(d);
}

}  // namespace kave2e

#endif  // KAV_EPUB_TESTS_E2E_BOOK_CHECKS_H_
