#ifndef KAV_EPUB_SERVICE_SERVICE_RECORD_H_
#define KAV_EPUB_SERVICE_SERVICE_RECORD_H_

#include "service/kav_epub.h"

namespace kav_service {

// Whether the record's Mobi2Epub makes accessible books (false: the books
// it always made). The record must not be null.
void SetRecordAccessible(TEpubService* record, bool on);

}  // namespace kav_service

#endif  // KAV_EPUB_SERVICE_SERVICE_RECORD_H_
