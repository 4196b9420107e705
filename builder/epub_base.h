#ifndef KAV_EPUB_BUILDER_EPUB_BASE_H_
#define KAV_EPUB_BUILDER_EPUB_BASE_H_

#include <set>
#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "package/xml_file.h"
#include "service/kav_export.h"
#include "xml/xhtml1_strict_dtd.h"

// The default style sheet: 22 fragments written in order, then the sentinel
// "###", which ends the table and is never written.
KAV_EXPORT extern const char* const kCssRes[23];

// Builds one EPUB book in a working directory: root/epub_temp holds the book
// directory "epub" (the part that is packed) and the DTD copy. Calling order:
// Init once; pages (StartPage, lines, images, EndPage), image pages, HTML
// imports and the cover in any order between pages; GenerateEpub; ClearData.
// Owns its three XMLFile documents. One thread at a time.
class KAV_EXPORT EpubBase {
 public:
  EpubBase();
  ~EpubBase();  // releases the documents; the working files stay
  EpubBase(const EpubBase&) = delete;
  EpubBase& operator=(const EpubBase&) = delete;

  // Releases the documents; safe to call more than once.
  void Destory();

  // Wipes and lays out root/epub_temp, writes the fixed files and starts the
  // package and navigation documents. 402 when root does not exist.
  int Init(const char* root, const char* title, const char* author);
  int GenerateMimetypeFile();
  int GenerateCSSFile();
  // Deletes the working directory; 0, or -1 when it could not be deleted.
  int ClearData();

  // Text pages.
  int StartPage();
  int AddTextLineToPage(const char* line);
  // Classifies one raw line: 1 when it begins a paragraph, 0 when it
  // continues one, 407 for a null or empty line. out receives the line's
  // cleaned text; the three counters carry the heuristics' state.
  static int LineProc(const char* line, std::string& out, int& prevIndent, int& prevLineLen,
                      int& maxLineLen);
  int AddFormToPage(const char* text, FormOperator op);
  int EndPage();
  // Extension settings. The book's dc:language (409 before Init). The page
  // being built gets a heading at its top that is also its label in the
  // navigation document, or stays out of the navigation document while it
  // stays in the reading order; 441 when no page is being built.
  int SetLanguage(const char* language);
  int SetPageHeading(const char* heading);
  int SetPageListed(bool listed);
  // An accessible book (off by default): every page written with the book's
  // language and a title of its own, a title for the book that is never
  // empty, and discovery metadata in the package document. 409 before Init.
  int SetAccessible(bool on);

  // Pictures.
  int AddCoverImageToEpub(const char* imagePath);
  int AddImageToEpub(const char* imagePath);
  int AddImageToPage(const char* imagePath);

  // HTML import.
  int AddHTHLToEpub(const char* htmlPath);
  int GenerateNewHtml(const char* srcPath, const char* destPath);
  int AppendPropToCSS(const char* text);
  // Imports the HTML page at htmlPath like AddHTHLToEpub (clean-up,
  // referenced files, encodings), but stores it as one or more pages: a new
  // page at each page-break marker (mbp:pagebreak) and at the block holding
  // each element whose id is in breakIds, and further so that no page's
  // saved file exceeds maxPageBytes, always between block elements (an
  // element a cut passes through is closed at the end of a page and
  // reopened, with its attributes but its id, on the next; a block that
  // cannot be cut stays whole on a page of its own). Links to "#id" and to
  // "<this page's own file name>#id" are rewritten to the page that holds
  // the id. The pages are numbered on from the book's pages, registered in
  // reading order and listed in the navigation document only when
  // listPages. *pageOfId (may be null) receives the file name of the page
  // of every id in the pages.
  int AddSplitHtmlToEpub(const char* htmlPath, const std::vector<std::string>& breakIds,
                         size_t maxPageBytes, bool listPages,
                         std::unordered_map<std::string, std::string>* pageOfId);

  // MOBI books in pages (builder/book_toc.cc): a point of the book's nested
  // table of contents (XMLFile::AddNestedRecordToNcx).
  int AddTocEntry(const char* src, const char* label, int depth);
  // The file name the next page will be stored under.
  std::string NextPageFileName() const;

  // Saves the package and navigation documents and packs the book directory
  // into outputPath.
  int GenerateEpub(const char* outputPath);

 private:
  // Lists a finished page in the package and navigation documents.
  int RegisterPage(const std::string& name);
  // Imports one page; on success refs receives what it refers to, in the
  // order the walk follows them.
  int ImportHtml(const char* srcPath, const char* destPath, std::vector<std::string>* refs);
  // The walk of GenerateNewHtml; the top page is split when split is given.
  struct SplitRequest;
  int ImportTree(const char* srcPath, const char* destPath, const SplitRequest* split);
  int ImportSplitHtml(const std::string& src, const std::string& dest, const SplitRequest& split,
                      std::vector<std::string>* refs);
  // Reads and cleans the page at src into page, as the host's encoding
  // setting says.
  int ReadCleanHtml(XMLBase& page, const std::string& src, const std::string& stem);

  XMLFile* opfFile;
  XMLFile* ncxFile;
  std::string bookDir;
  std::string cssPath;
  std::string dtdPath;
  std::string tempDir;
  XMLFile* pageFile;
  int pageNum;
  int imageNum;
  std::string paraText;
  int prevIndent;
  int prevLineLen;
  int maxLineLen;
  // Files imported, each with the name it was stored under, during the
  // current top-level HTML import.
  std::set<std::string> importedFiles;
};

#endif  // KAV_EPUB_BUILDER_EPUB_BASE_H_
