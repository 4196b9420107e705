#ifndef KAV_EPUB_SERVICE_KAV_EPUB_EXT_H_
#define KAV_EPUB_SERVICE_KAV_EPUB_EXT_H_

/* Extensions of libKav_Epub's C interface. They only add to it: a host that
   never calls them gets the books it always got, and later versions add
   functions and option names but never change or remove these. Every
   function returns 0 or a result code (service/kav_result.h); strings are
   UTF-8 and borrowed for the call.

   Page by page, between StartPage and EndPage of a record's book:
     KavEpubSetPageHeading  a heading at the top of the page, which is also
                            its label in the navigation document (toc.ncx);
     KavEpubSetPageListed   0 keeps the page out of the navigation document
                            (a chapter's continuation page); it stays in the
                            reading order;
   and after InitEpub:
     KavEpubSetLanguage     the book's dc:language ("en" unless set);
     KavEpubSetHtmlEncoding the encoding pages given to AddHtmlToEpub, and
                            the pages they lead to, are read in (each page
                            read as UTF-8 unless set).
     KavEpubSetAccessible   1 makes the book accessible (see Accessibility
                            below); 0, the default, leaves it as it was.
                            On a record without a book (before InitEpub,
                            after ClearUp) it holds for the record's
                            Mobi2Epub: its books are accessible, their pages
                            in the language the MOBI book declares (else one
                            guessed from its text), its alt texts kept.

   A whole text file, as kav-epub txt makes it:
     KavBookOptions* options = KavOptionsCreate();
     KavOptionsSet(options, "title", "The Lantern");
     KavEpubConvertText("in.txt", "out.epub", workDir, options, user, progress);
     KavOptionsFree(options);
   Options (unset: the default in brackets):
     title     the book's title [the file's name without its extension]
     author    the book's author [none]
     language  a BCP 47 tag, or "auto" to guess it from the text's script [auto]
     cover     a .jpeg, .jpg, .png or .gif picture for a cover page [none]
     chapters  "auto": a line that is a heading ("Chapter 12", "Part One",
               "第一章 风起", "第一話", ...) starts a chapter, listed under its
               own text; "off": pages of sixty lines, listed by number; or a
               Perl-compatible regular expression (PCRE2, UTF-8) that a
               heading line matches [auto]
     encoding  "auto" to detect it (byte-order mark, UTF-16, UTF-8, else a
               guess), or an iconv name such as "GB18030" [auto]
     accessibility  "on" or "off": an accessible book [off]
     conforms-to    with accessibility on, the book's conformance claim,
                    written as dcterms:conformsTo [none: nothing is claimed]

   Accessibility. An accessible book has xml:lang and lang, the book's
   language, on the root of every page written (an imported page keeps the
   language it declares), a <title> on every page (its heading, else "Book
   title, page N"), a book title that is never empty (control characters
   become blanks; "Untitled" when nothing is left) and, in the package
   document, EPUB 2 meta elements for schema:accessMode,
   accessModeSufficient, accessibilityFeature (tableOfContents, readingOrder,
   structuralNavigation when pages have headings, alternativeText when every
   picture has a description), accessibilityHazard ("unknown" when HTML was
   imported, else "none") and accessibilitySummary, said from what the book
   holds. Descriptions are carried over (an HTML or KF8 alt, a host's
   caption: KavEpubSetImageCaption), never invented.
*/

#include <stddef.h>

#include "convert/progress_callback.h"
#include "service/kav_epub.h"
#include "service/kav_export.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct KavBookOptions KavBookOptions;

/* A new, empty options object (every option at its default), or null. */
KAV_EXPORT KavBookOptions* KavOptionsCreate(void);
/* Releases it; null is ignored. */
KAV_EXPORT void KavOptionsFree(KavBookOptions* options);
/* Sets one option. Unknown name: KAV_ERR_UNKNOWN_OPTION; a value the option
   does not take: KAV_ERR_BAD_LANGUAGE, KAV_ERR_BAD_PATTERN or
   KAV_ERR_BAD_OPTION (the option keeps its former value). A null value
   restores the default. */
KAV_EXPORT int KavOptionsSet(KavBookOptions* options, const char* name, const char* value);

/* The book of the record's builder (after InitEpub). Null record:
   KAV_ERR_NULL_HANDLE; no book: KAV_ERR_NO_BUILDER. */
KAV_EXPORT int KavEpubSetLanguage(TEpubService* service, const char* bcp47);
/* The page being built (after StartPage, before EndPage); without one:
   KAV_ERR_NO_OPEN_PAGE. Set again, the heading's text is replaced. */
/* After InitEpub, before GenerateEpub; pages already ended keep what they
   were written with. Without a book: the record's Mobi2Epub from then on.
   KAV_ERR_NULL_HANDLE; KAV_ERR_NO_BUILDER for a record without its cell. */
KAV_EXPORT int KavEpubSetAccessible(TEpubService* service, int on);
/* The description of the next picture the host adds to the book
   (AddImageToPage or AddImageToEpub), which uses it up whatever it returns:
   the picture's alt text, counted as described (an accessible book claims
   alternativeText only when every picture is). Markup in it is kept as
   text; tabs and line breaks become blanks. Blank, not UTF-8, or with other
   control characters: KAV_ERR_BAD_CAPTION. Null: no description.
   KAV_ERR_NULL_HANDLE, KAV_ERR_NO_BUILDER. */
KAV_EXPORT int KavEpubSetImageCaption(TEpubService* service, const char* caption);
KAV_EXPORT int KavEpubSetPageHeading(TEpubService* service, const char* heading);
KAV_EXPORT int KavEpubSetPageListed(TEpubService* service, int listed);

/* How the book's imported HTML pages are read (after InitEpub). "auto": each
   page in its own encoding, as a browser reads it: a byte-order mark
   decides; else its declaration (<meta charset>, <meta http-equiv=
   "Content-Type" content="...; charset=...">, an XML declaration), labels
   read by the WHATWG Encoding Standard ("iso-8859-1" is windows-1252,
   "gb2312" GB18030, "shift_jis" Windows-31J), unless it declares UTF-8 and
   the bytes are not; else UTF-8 when the bytes are; else a guess. An
   encoding label or iconv name ("GB18030"): every page in that one (a
   byte-order mark still decides). Null or
   "": off, every page read as UTF-8. The pages are made UTF-8 before the
   clean-up and say so in the book; a style sheet opening with an @charset
   of another encoding (or a byte-order mark) is made UTF-8 too. An encoding
   iconv does not know: KAV_ERR_UNKNOWN_ENCODING. */
KAV_EXPORT int KavEpubSetHtmlEncoding(TEpubService* service, const char* mode);

/* Converts a whole text file with the options (null: every default). Progress
   as Txt2Epub reports it: (page, pages + 1) as each page starts, then
   (pages + 1, pages + 1) once the book is written; a callback that returns -2
   before that cancels, and the result is then 0 with no book written. */
KAV_EXPORT int KavEpubConvertText(const char* txtPath, const char* epubPath, const char* workDir,
                                  const KavBookOptions* options, void* user,
                                  ProgressCallback progress);

/* Converts a whole MOBI 6, KF8 (AZW3), joint MOBI or PalmDOC book with the
   options (null: every default), as kav-epub mobi does. Options:
     mobi-layout  "pages": the text in XHTML pages of at most 256 KB each,
                  a new page at each of the book's files (KF8), page breaks
                  and places its table of contents points to; the
                  navigation document holds the book's own table of
                  contents, nested as in the book, labels as the book has
                  them, each entry pointing at the page and place that hold
                  it (a book without one: its h1-h3 headings, nested by
                  level; failing those, its pages at the page breaks,
                  labelled by number; failing those, its first page under
                  the book's title).
                  "single": the book Mobi2Epub makes, byte for byte: the
                  text as one page, listed once [pages]
     accessibility  "on": an accessible book as KavEpubSetAccessible makes
                  it (the language the MOBI book declares, else a guess
                  from its text) [off]
     conforms-to  with accessibility on, the book's conformance claim, as
                  for KavEpubConvertText [none]
   Progress as Mobi2Epub reports it. *tocFlaws (may be null) receives how
   many entries of the book's own table of contents could not be used as
   they are (0 for a sound table and for "single"): entries whose place is
   not in the text are left out, entries whose parent is themselves, a later
   entry or none are moved to the top level; the book is written all the
   same. A damaged table is no failure. */
KAV_EXPORT int KavEpubConvertMobi(const char* mobiPath, const char* epubPath, const char* workDir,
                                  const KavBookOptions* options, void* user,
                                  ProgressCallback progress, size_t* tocFlaws);

/* Whether pattern compiles as a chapter pattern: 0, or KAV_ERR_BAD_PATTERN
   with PCRE2's message in message (size bytes, may be null) and the byte
   offset in the pattern where it went wrong in *offset (may be null). */
KAV_EXPORT int KavCheckChapterPattern(const char* pattern, char* message, size_t size,
                                      size_t* offset);

/* Whether text (UTF-8, length bytes) is a chapter heading by the built-in
   shapes (pattern null) or by pattern: 1 or 0, or a result code. */
KAV_EXPORT int KavIsChapterHeading(const char* text, size_t length, const char* pattern);

/* The language of a UTF-8 text by its script (and, for Latin script, by a
   guesser when one is installed): a BCP 47 tag written into tag (size
   bytes). "en" when there is no telling. */
KAV_EXPORT int KavGuessLanguage(const char* text, size_t length, char* tag, size_t size);

/* The text of an HTML file's <title> element (whitespace collapsed) into
   title (size bytes); "" when it has none. KAV_ERR_OPEN when the file
   cannot be parsed. */
KAV_EXPORT int KavHtmlTitle(const char* htmlPath, char* title, size_t size);
/* The same with the page read as the import reads it in that encoding mode
   ("auto", an encoding's name; null or "": "auto"), as KavEpubSetHtmlEncoding
   takes it. */
KAV_EXPORT int KavHtmlTitleIn(const char* htmlPath, const char* encoding, char* title,
                              size_t size);

/* The title kav-epub html gives a book of this top page: its <title> as
   KavHtmlTitleIn reads it, else the file's name without folder and
   extension. */
KAV_EXPORT int KavHtmlBookTitle(const char* htmlPath, const char* encoding, char* title,
                                size_t size);

/* Why a text file does not decode: its encoding as named or detected into
   encoding (size bytes), the offset of the first bad byte and its value.
   0 when it decodes; otherwise the code KavEpubConvertText gives for it. */
KAV_EXPORT int KavCheckTextEncoding(const char* txtPath, const char* encodingName,
                                    char* encoding, size_t size, long long* offset, int* byte);

#ifdef __cplusplus
}
#endif

#endif /* KAV_EPUB_SERVICE_KAV_EPUB_EXT_H_ */
