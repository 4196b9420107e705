#ifndef KAV_EPUB_PACKAGE_XML_FILE_H_
#define KAV_EPUB_PACKAGE_XML_FILE_H_

#include <cstddef>
#include <string>
#include <unordered_set>
#include <vector>

#include "service/kav_export.h"

class XMLBase;

// The table-building step of AddFormToHtml.
enum FormOperator {
  FormTable = 0,  // a new table in the body
  FormRow = 1,    // a new row in the newest table
  FormCell = 2,   // a new cell with text in the newest row
};

// Builds the XML documents of one book: the package document (content.opf),
// the navigation document (toc.ncx), the container file and page documents.
// One object is used for one kind of document. Owns its XMLBase documents.
class KAV_EXPORT XMLFile {
 public:
  XMLFile();
  ~XMLFile();
  XMLFile(const XMLFile&) = delete;
  XMLFile& operator=(const XMLFile&) = delete;

  // Deletes the documents but leaves the pointers: the object must be
  // neither used nor destroyed afterwards.
  void Destory();

  // Package document. AddCoverToOpf and AddRecordToOpf need InitOpfFile
  // first and always return 0.
  int InitOpfFile(const char* title, const char* author);
  int AddCoverToOpf(const char* coverPage, const char* coverImage);
  int AddRecordToOpf(const char* fileName);
  int SaveOpfFile(const char* path);
  // Replaces the dc:language text ("en" until then). 409 without a document.
  int SetOpfLanguage(const char* language);
  // Accessible books. The text of a metadata element such as "dc:title"
  // ("" without one); replaces the title; adds <meta name="..." content="..."/> to the metadata. 409 without
  // a document.
  std::string OpfText(const char* element) const;
  int SetOpfTitle(const char* title);
  int AddOpfMeta(const char* name, const char* content);

  // Navigation document. AddRecordToNcx needs InitNcxFile first.
  int InitNcxFile(const char* title);
  int AddRecordToNcx(const char* src);
  // The same with label as the point's text instead of its number (null: the number).
  int AddRecordToNcx(const char* src, const char* label);
  // A point of a nested table of contents: at depth (1 at the top; a deeper
  // one goes under the newest point one level up), labelled label. A book
  // with such points gets dtb:depth of its deepest, and points to the same
  // src share one playOrder; a book without them is written as it always was.
  int AddNestedRecordToNcx(const char* src, const char* label, int depth);
  int SaveNcxFile(const char* path);

  // Writes META-INF/container.xml at path in one call.
  unsigned int GenerateContainerFile(const char* path);

  // Page documents. SaveHtml gives 0 or 0xFFFFFFFF for any failure.
  int InitHTML(const char* title);
  int AddTextLineToHtml(const char* text);
  int AddImageToHtml(const char* src);
  // The same with alt as the picture's description (null or "": none).
  int AddImageToHtml(const char* src, const char* alt);
  int AddImageToXhtml(const char* href);
  int AddFormToHtml(const char* text, FormOperator op);
  unsigned int SaveHtml(const char* path);
  // Puts a heading element with text first in the page body, or replaces the
  // text of the one put there before. 409 without a page.
  int SetHtmlHeading(const char* text);
  // Gives the page's root element xml:lang and lang and replaces its <title>
  // text. 409 without a page.
  int SetHtmlAccess(const char* language, const char* title);

 private:
  int SaveNestedNcx(const char* path);

  // A manifest item after the package document's fixed ones: a record
  // ("rc_" and its number, the file opfRecords[name]) or one of the cover's
  // two (number kCoverImage or kCoverPage, the file coverNames[name]).
  struct ManifestItem {
    int number;
    unsigned int name;
  };
  // A navigation point: its number, the file it points to and, when a page
  // was given a heading, its label (otherwise the number is the label).
  struct NavPoint {
    int order;
    std::string src;
    bool labelled;
    std::string label;
    int depth = 0;  // 0: a flat point; 1 and more: a nested table's
  };

  XMLBase* opfDoc;  // package/record_document.h's RecordDocument
  XMLBase* ncxDoc;  // the same
  XMLBase* pageDoc;
  std::vector<std::string> opfRecords;
  int navOrder;
  int recordCount;
  // Hashes of the names in opfRecords. A name whose hash is not here cannot
  // be a repeat, so a long book does not compare every name with every one
  // before it; the byte-for-byte scan runs only on a hash match.
  std::unordered_set<std::size_t> opfRecordHashes;
  // What a book adds per page is kept here, compactly, instead of as nodes
  // of the documents' trees, and written into the documents as they are
  // saved, where the trees would have held it: the manifest items (and with
  // them the spine entries) and the navigation points.
  std::vector<ManifestItem> manifestItems;
  std::vector<std::string> coverNames;
  std::vector<NavPoint> navPoints;
};

#endif  // KAV_EPUB_PACKAGE_XML_FILE_H_
