#ifndef KAV_EPUB_PLATFORM_MOBI_KAV_MOBI_H_
#define KAV_EPUB_PLATFORM_MOBI_KAV_MOBI_H_

// libKav_Mobi: the MOBI reader. Every operation takes the record's handle
// first. Strings it returns are malloc'ed; the caller frees them.

// Result codes of the reader (0 is success).
#define KAV_MOBI_ERR_ARGUMENT 620   // a path argument is null or empty
#define KAV_MOBI_ERR_NOT_FOUND 621  // no readable regular file at the book's path
#define KAV_MOBI_ERR_NOT_MOBI 622   // the file is not a MOBI book, or of a kind not supported
#define KAV_MOBI_ERR_DAMAGED 623    // the book is truncated or its records are damaged
#define KAV_MOBI_ERR_ENCRYPTED 624  // the book is protected by DRM (reported by Open)
#define KAV_MOBI_ERR_WRITE 625      // an output file could not be written
#define KAV_MOBI_ERR_NOT_OPEN 626   // no book is open
#define KAV_MOBI_ERR_NO_MEMORY 627  // out of memory
#define KAV_MOBI_ERR_NO_TEXT 628    // the book holds no readable text

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// One entry of a book's table of contents (GetToc).
typedef struct TMobiTocEntry {
  char* label;   // UTF-8, as the book has it
  char* anchor;  // the id of the element at the entry's place in the extracted HTML
  int depth;     // 1 at the top level
} TMobiTocEntry;

typedef struct TMobiService {
  void* handle;
  // Opens and reads the book; 0 on success, a nonzero code otherwise.
  int (*Open)(void* handle, const char* mobiPath);
  // Releases what Open acquired; called once before FreeMobiService, also
  // after a failed Open.
  void (*Close)(void* handle);
  // Writes the content as one HTML file at htmlPath, its pictures beside it
  // under the names its img elements use; 0 on success.
  int (*ExtractHtml)(void* handle, const char* htmlPath);
  // Title and author in UTF-8.
  char* (*GetTitle)(void* handle);
  char* (*GetAuthor)(void* handle);
  // The cover picture's file name relative to the HTML file's directory, or
  // null when the book has none.
  char* (*GetCoverImage)(void* handle);
  // Before Open: 1 reads the book's table of contents too (0, the default,
  // does not). ExtractHtml then gives every entry's place an id, and starts
  // each KF8 file but the first with an <mbp:pagebreak/>.
  void (*SetReadToc)(void* handle, int on);
  // After ExtractHtml: the table of contents in reading order, a malloc'ed
  // array of *count entries that FreeToc releases (null when empty). The
  // book's NCX; without one, its h1-h3 headings nested by level; failing
  // those, its pages at the page breaks; none when none of these. *flawed
  // (may be null) counts what of the book's own table could not be used as
  // it is: entries left out (their place is not in the text), entries moved
  // to the top level (a parent that is the entry itself, a later entry or
  // none), unreadable labels, an unreadable index. 0 or a KAV_MOBI_ERR code.
  int (*GetToc)(void* handle, TMobiTocEntry** entries, size_t* count, size_t* flawed);
  void (*FreeToc)(TMobiTocEntry* entries, size_t count);
} TMobiService;

__attribute__((visibility("default"))) TMobiService* CreateMobiService(void);
__attribute__((visibility("default"))) void FreeMobiService(TMobiService* service);
// The language the open book declares (EXTH 524, else its header's locale),
// as libmobi spells it ("en-us"), malloc'ed; null when it declares none or
// no book is open. Not a slot of the record, which keeps its layout.
__attribute__((visibility("default"))) char* KavMobiGetLanguage(TMobiService* service);

#ifdef __cplusplus
}
#endif

#endif  // KAV_EPUB_PLATFORM_MOBI_KAV_MOBI_H_
