#include "cli/result_messages.h"

#include <cstdio>
#include <cstring>
#include <map>

#include "platform/ebase/kav_ebase.h"
#include "platform/mobi/kav_mobi.h"
#include "service/kav_result.h"

namespace kavcli {

namespace {

const std::map<int, const char*>& Messages() {
  static const std::map<int, const char*> messages = {
      {KAV_ERR_FAILED, "a file could not be copied, moved or saved"},
      {KAV_ERR_XML_CREATE, "an XML document could not be created"},
      {KAV_ERR_MISSING, "a required file or directory does not exist"},
      {KAV_ERR_OPEN, "a file could not be opened (missing, unreadable or not a document)"},
      {KAV_ERR_CSS_OPEN, "the style sheet could not be written"},
      {KAV_ERR_EMPTY_LINE, "a text line is empty"},
      {KAV_ERR_NO_PAGE_FOR_TEXT, "text was added while no page was open"},
      {KAV_ERR_NO_PAGE, "no page is open, or a book document is missing"},
      {KAV_ERR_NO_BUILDER, "no book has been started"},
      {KAV_ERR_ARGUMENT, "a required argument is empty or names nothing that exists"},
      {KAV_ERR_NO_OUTPUT_DIR, "the output file's directory does not exist"},
      {KAV_ERR_XML_SAVE, "a book document could not be written (disk full or not writable?)"},
      {KAV_ERR_NO_ELEMENT, "an HTML document has no root or no body"},
      {KAV_ERR_NO_DOCUMENT, "a document operation had no document"},
      {KAV_ERR_MOBI_HTML_SAVE, "the rewritten MOBI HTML could not be saved"},
      {KAV_ERR_VALID_CTXT, "the XHTML validation could not start"},
      {KAV_ERR_NULL_HANDLE, "no service record or options were given"},
      {KAV_ERR_NO_OPEN_PAGE, "a page setting was made while no page was being built"},
      {KAV_ERR_BAD_LANGUAGE, "not a language tag (such as en, zh-Hant or pt-BR)"},
      {KAV_ERR_BAD_PATTERN, "the chapter pattern is not a valid regular expression"},
      {KAV_ERR_UNKNOWN_OPTION, "unknown book option"},
      {KAV_ERR_BAD_OPTION, "a book option was given a value it does not take"},
      {KAV_ERR_UNKNOWN_ENCODING, "unknown text encoding (iconv --list shows the names)"},
      {KAV_ERR_UNCLEAR_ENCODING, "the text encoding cannot be told; name it with --encoding"},
      {KAV_ERR_BAD_TEXT, "the text is not valid in its encoding (name the right one with --encoding)"},
      {KAV_ERR_BAD_CAPTION, "a picture's caption is blank, not UTF-8 or holds control characters"},
      {KAV_EBASE_ERR_ARGUMENT, "the book directory or output path is empty"},
      {KAV_EBASE_ERR_BOOK_DIR, "the book directory is missing or unreadable"},
      {KAV_EBASE_ERR_NO_MIMETYPE, "the book directory has no mimetype file"},
      {KAV_EBASE_ERR_OUTPUT,
       "the output file cannot be created (missing or unwritable directory, or not a file?)"},
      {KAV_EBASE_ERR_ARCHIVE, "the book could not be packed (disk full?)"},
      {KAV_EBASE_ERR_RENAME, "the packed book could not replace the output file"},
      {KAV_EBASE_ERR_MEMORY, "out of memory while packing"},
      {KAV_MOBI_ERR_ARGUMENT, "the MOBI path is empty"},
      {KAV_MOBI_ERR_NOT_FOUND, "the MOBI file does not exist or cannot be read"},
      {KAV_MOBI_ERR_NOT_MOBI, "the file is not a MOBI book, or of a kind not supported"},
      {KAV_MOBI_ERR_DAMAGED, "the MOBI book is truncated or damaged"},
      {KAV_MOBI_ERR_ENCRYPTED, "the MOBI book is protected by DRM and cannot be converted"},
      {KAV_MOBI_ERR_WRITE, "the MOBI book's content could not be written out (disk full?)"},
      {KAV_MOBI_ERR_NOT_OPEN, "no MOBI book is open"},
      {KAV_MOBI_ERR_NO_MEMORY, "out of memory while reading the MOBI book"},
      {KAV_MOBI_ERR_NO_TEXT, "the MOBI book holds no readable text"},
  };
  return messages;
}

// Which path a code is about: the MOBI reader's codes are about the book
// read, the packer's about the book written, and saving failures about the
// working files.
const std::string* Subject(int code, const Subjects& subjects) {
  switch (code) {
    case KAV_ERR_FAILED:
    case KAV_ERR_CSS_OPEN:
    case KAV_ERR_XML_SAVE:
    case KAV_ERR_MOBI_HTML_SAVE:
    case KAV_MOBI_ERR_WRITE:
      return &subjects.work;
    case KAV_ERR_OPEN:
    case KAV_ERR_NO_ELEMENT:
      return &subjects.input;
    case KAV_ERR_NO_OUTPUT_DIR:
      return &subjects.output;
    default:
      break;
  }
  if (code >= KAV_EBASE_ERR_ARGUMENT && code <= KAV_EBASE_ERR_MEMORY) return &subjects.output;
  if (code >= KAV_MOBI_ERR_ARGUMENT && code < KAV_MOBI_ERR_ARGUMENT + 100) return &subjects.input;
  return nullptr;
}

}  // namespace

const char* ResultMessage(int code) {
  auto found = Messages().find(code);
  return found == Messages().end() ? nullptr : found->second;
}

std::string ResultLine(int code, const Subjects& subjects) {
  const std::string* subject = Subject(code, subjects);
  const bool full = (subject == &subjects.work && subjects.workDiskFull) ||
                    (subject == &subjects.output && subjects.outputDiskFull);
  const char* message = ResultMessage(code);
  std::string line = subject != nullptr && !subject->empty() ? *subject + ": " : "";
  line += full ? "the disk is full" : message != nullptr ? message : "conversion failed";
  return line + " (code " + std::to_string(code) + ")";
}

std::string ToolMessage(const ToolError& e) {
  char text[160];
  switch (e.kind) {
    case ToolFailure::kReadInput:
      return "cannot read " + e.subject + ": " + strerror(e.byte);
    case ToolFailure::kWriteText:
      return "cannot write the UTF-8 copy of " + e.subject + " (disk full?)";
    case ToolFailure::kUnknownEncoding:
      return "unknown text encoding '" + e.subject + "' (iconv --list shows the names)";
    case ToolFailure::kUnclearEncoding:
      return "cannot tell the text encoding of " + e.subject + "; name it with --encoding";
    case ToolFailure::kUndecodable:
      snprintf(text, sizeof text, ": byte 0x%02X at offset %lld is not valid ", e.byte, e.offset);
      return e.subject + text + e.encoding + " (name the right one with --encoding)";
    case ToolFailure::kTruncatedText:
      snprintf(text, sizeof text, " ends inside a character at offset %lld (", e.offset);
      return e.subject + text + e.encoding + ")";
    case ToolFailure::kReadDirectory:
      return "cannot read the directory " + e.subject;
    case ToolFailure::kMakeDirectory:
      return "cannot make the directory " + e.subject;
    case ToolFailure::kStartWorker:
      return "cannot start a conversion of " + e.subject;
    case ToolFailure::kWorkerKilled:
      snprintf(text, sizeof text, "the conversion was killed by signal %d (%s)", e.byte,
               strsignal(e.byte));
      return text;
    case ToolFailure::kWorkerSilent:
      return "the conversion failed without a message";
    case ToolFailure::kBadJobs:
      return "-j needs a number of workers from 1 to 256, not '" + e.subject + "'";
    case ToolFailure::kBadShard:
      return "--shard needs K/N with 1 <= K <= N, not '" + e.subject + "'";
    case ToolFailure::kNoSuchFile:
      return e.subject + ": no such file";
    case ToolFailure::kIsDirectory:
      return e.subject + ": is a directory (kav-epub batch converts a whole directory)";
    case ToolFailure::kNotRegularFile:
      return e.subject + ": not a regular file";
    case ToolFailure::kUnreadable:
      return e.subject + ": cannot be read (" + strerror(e.byte) + ")";
    case ToolFailure::kNotMobi:
      return e.subject + ": not a MOBI book";
    case ToolFailure::kUnknownKind:
      return e.subject +
             ": not a text, HTML or MOBI book (name its kind: kav-epub txt, html or mobi)";
    case ToolFailure::kAlreadyEpub:
      return e.subject + ": is an EPUB book already";
    case ToolFailure::kNoOutputFolder:
      return e.subject + ": the directory " + e.encoding + " does not exist";
    case ToolFailure::kOutputNotFile:
      return e.subject + ": not a regular file; the book may only replace a file";
    case ToolFailure::kOverInput:
      return e.subject + ": the book would be written over its own input";
    case ToolFailure::kReplaceOutput:
      return e.subject + ": cannot be replaced by the book (" + strerror(e.byte) + ")";
  }
  return "failed";
}

std::string TocWarning(const std::string& input, size_t flaws) {
  return input + ": warning: the book's table of contents is damaged (" + std::to_string(flaws) +
         (flaws == 1 ? " flaw" : " flaws") +
         "); the book keeps the entries that could be placed";
}

}  // namespace kavcli
