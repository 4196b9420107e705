#ifndef KAV_EPUB_SERVICE_KAV_RESULT_H_
#define KAV_EPUB_SERVICE_KAV_RESULT_H_

// Result codes of libKav_Epub. 0 is success; codes of the companion
// libraries (packer, MOBI reader) are passed through unchanged.
enum KavResult {
  KAV_OK = 0,
  KAV_ERR_FAILED = -1,            // copy or move failed; page not saved; no page for a table
  KAV_ERR_XML_CREATE = 401,       // a document or root element could not be created
  KAV_ERR_MISSING = 402,          // a required file or directory is missing; bad copy arguments; DTD unparsable
  KAV_ERR_OPEN = 404,             // a file could not be opened; the HTML parser gave no document
  KAV_ERR_CSS_OPEN = 406,         // the style sheet could not be opened for writing
  KAV_ERR_EMPTY_LINE = 407,       // a text line is null or empty
  KAV_ERR_NO_PAGE_FOR_TEXT = 408, // a paragraph begins but no page is open
  KAV_ERR_NO_PAGE = 409,          // no page is open, or a needed document was never created
  KAV_ERR_NO_BUILDER = 410,       // the record's cell is null or holds no builder
  KAV_ERR_ARGUMENT = 411,         // a required string is null or empty, or a named path is missing
  KAV_ERR_NO_OUTPUT_DIR = 412,    // the directory that is to hold the output does not exist
  KAV_ERR_XML_SAVE = 413,         // a document could not be written
  KAV_ERR_NO_ELEMENT = 415,       // a node path found nothing; an HTML document has no root or body
  KAV_ERR_NO_DOCUMENT = 416,      // a document operation without a document
  KAV_ERR_MOBI_HTML_SAVE = 417,   // the rewritten MOBI HTML file could not be saved
  KAV_ERR_VALID_CTXT = 418,       // the validation context could not be created
  // The extension interface (service/kav_epub_ext.h).
  KAV_ERR_NULL_HANDLE = 440,      // the service record or options object is null
  KAV_ERR_NO_OPEN_PAGE = 441,     // a page setting without a page being built
  KAV_ERR_BAD_LANGUAGE = 442,     // not a language tag (BCP 47: "en", "zh-Hant", "pt-BR")
  KAV_ERR_BAD_PATTERN = 443,      // a chapter pattern that does not compile
  KAV_ERR_UNKNOWN_OPTION = 444,   // an option name the library does not know
  KAV_ERR_BAD_OPTION = 445,       // a value the option does not take
  KAV_ERR_UNKNOWN_ENCODING = 446, // a text encoding that iconv does not know
  KAV_ERR_UNCLEAR_ENCODING = 447, // the text's encoding cannot be told; name it
  KAV_ERR_BAD_TEXT = 448,         // the text is not valid in its encoding, or ends inside a character
  KAV_ERR_BAD_CAPTION = 449,      // a picture's caption with control characters, not UTF-8, or blank
};

#endif  // KAV_EPUB_SERVICE_KAV_RESULT_H_
