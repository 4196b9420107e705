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

}  // namespace

const char* ResultMessage(int code) {
  auto found = Messages().find(code);
  return found == Messages().end() ? nullptr : found->second;
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
  }
  return "failed";
}

}  // namespace kavcli
