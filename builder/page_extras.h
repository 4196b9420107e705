#ifndef KAV_EPUB_BUILDER_PAGE_EXTRAS_H_
#define KAV_EPUB_BUILDER_PAGE_EXTRAS_H_

#include <string>

class EpubBase;
class XMLFile;
struct _xmlNode;

namespace kav_builder {

// What a host said about the page being built through the extension
// interface: its label in the navigation document and whether it is listed
// there. Kept beside the builder rather than in it, so that EpubBase keeps
// the size that hosts built against earlier headers allocate.
struct PageExtras {
  bool labelled = false;
  std::string label;
  bool listed = true;
};

// The builder's settings for its current page; a fresh page has the
// defaults. Safe from several threads for different builders.
PageExtras PageExtrasOf(const EpubBase* builder);
void SetPageExtras(const EpubBase* builder, const PageExtras& extras);
// Back to the defaults (a new page, or the builder going).
void ForgetPageExtras(const EpubBase* builder);

// What an accessible book (KavEpubSetAccessible) keeps track of as it is
// built: the language and title its pages are written with, and what it
// holds, from which its discovery metadata is derived. Absent for a builder
// that was never made accessible, whose books stay as they were.
struct BookAccess {
  bool accessible = false;
  std::string language = "en";
  std::string title;
  std::string conformsTo;  // a host's conformance claim; none unless given
  int pages = 0;
  int headings = 0;
  int pictures = 0;
  int described = 0;  // pictures with a description
  int imported = 0;   // pages imported from HTML, which we cannot judge
};

BookAccess BookAccessOf(const EpubBase* builder);
void SetBookAccess(const EpubBase* builder, const BookAccess& access);
void ForgetBookAccess(const EpubBase* builder);

// The description a host gave for the next picture it adds (none: ""),
// used up by the call that adds it.
void SetImageCaption(const EpubBase* builder, const std::string& caption);
std::string TakeImageCaption(const EpubBase* builder);

// text with control characters and runs of blanks made single blanks,
// none at the ends.
std::string PlainText(const std::string& text);
// A page's title: its heading, else the book's title and the page's number.
std::string PageTitle(const BookAccess& access, int page, const std::string* heading);
// An imported page keeps the language it declares and gets the book's
// where it declares none, and is titled by its first heading, else by its
// place (access->pages); its pictures, those of them with an alt text, and
// its headings are counted.
void NoteImportedPage(_xmlNode* root, BookAccess* access);
// One of the pages an imported page was cut into, `page` being its place in
// the book: titled by its own first heading, else by its place.
void TitleImportedPage(_xmlNode* root, const BookAccess& access, int page);
// The discovery metadata of what the book holds, into its package document.
int WriteAccessMetadata(XMLFile* opf, const BookAccess& access);

}  // namespace kav_builder

#endif  // KAV_EPUB_BUILDER_PAGE_EXTRAS_H_
