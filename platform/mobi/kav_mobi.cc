#include "platform/mobi/kav_mobi.h"

#include <stdlib.h>
#include <string.h>

#include <new>

#include "platform/mobi/mobi_book.h"

// The record's handle is the MobiBook. No exception leaves these functions:
// the only ones the reader can raise come from allocating strings.
namespace {

using kavmobi::MobiBook;

MobiBook* BookOf(void* handle) { return static_cast<MobiBook*>(handle); }

int Open(void* handle, const char* mobiPath) {
  if (handle == nullptr) return KAV_MOBI_ERR_NOT_OPEN;
  try {
    return BookOf(handle)->Open(mobiPath);
  } catch (...) {
    BookOf(handle)->Close();
    return KAV_MOBI_ERR_NO_MEMORY;
  }
}

void Close(void* handle) {
  if (handle != nullptr) BookOf(handle)->Close();
}

int ExtractHtml(void* handle, const char* htmlPath) {
  if (handle == nullptr || !BookOf(handle)->IsOpen()) return KAV_MOBI_ERR_NOT_OPEN;
  if (htmlPath == nullptr || htmlPath[0] == '\0') return KAV_MOBI_ERR_ARGUMENT;
  try {
    return BookOf(handle)->ExtractHtml(htmlPath);
  } catch (...) {
    return KAV_MOBI_ERR_NO_MEMORY;
  }
}

// A book without an author gives "" rather than null, so that callers can
// use the string as it is.
char* GetTitle(void* handle) { return handle != nullptr ? BookOf(handle)->Title() : nullptr; }
char* GetAuthor(void* handle) { return handle != nullptr ? BookOf(handle)->Author() : nullptr; }

char* GetCoverImage(void* handle) {
  if (handle == nullptr) return nullptr;
  try {
    return BookOf(handle)->CoverFileName();
  } catch (...) {
    return nullptr;
  }
}

void SetReadToc(void* handle, int on) {
  if (handle != nullptr) BookOf(handle)->SetReadToc(on != 0);
}

void FreeToc(TMobiTocEntry* entries, size_t count) {
  if (entries == nullptr) return;
  for (size_t i = 0; i < count; ++i) {
    free(entries[i].label);
    free(entries[i].anchor);
  }
  free(entries);
}

int GetToc(void* handle, TMobiTocEntry** entries, size_t* count, size_t* flawed) {
  if (entries == nullptr || count == nullptr) return KAV_MOBI_ERR_ARGUMENT;
  *entries = nullptr;
  *count = 0;
  if (handle == nullptr || !BookOf(handle)->IsOpen()) return KAV_MOBI_ERR_NOT_OPEN;
  const kavmobi::BookToc& toc = BookOf(handle)->Toc();
  if (flawed != nullptr) *flawed = toc.flawed;
  if (toc.entries.empty()) return 0;
  TMobiTocEntry* list =
      static_cast<TMobiTocEntry*>(calloc(toc.entries.size(), sizeof(TMobiTocEntry)));
  if (list == nullptr) return KAV_MOBI_ERR_NO_MEMORY;
  for (size_t i = 0; i < toc.entries.size(); ++i) {
    list[i].label = strdup(toc.entries[i].label.c_str());
    list[i].anchor = strdup(toc.entries[i].anchor.c_str());
    list[i].depth = toc.entries[i].depth;
    if (list[i].label == nullptr || list[i].anchor == nullptr) {
      FreeToc(list, i + 1);
      return KAV_MOBI_ERR_NO_MEMORY;
    }
  }
  *entries = list;
  *count = toc.entries.size();
  return 0;
}

}  // namespace

char* KavMobiGetLanguage(TMobiService* service) {
  if (service == nullptr || service->handle == nullptr) return nullptr;
  try {
    return BookOf(service->handle)->Language();
  } catch (...) {
    return nullptr;
  }
}

TMobiService* CreateMobiService(void) {
  TMobiService* service = static_cast<TMobiService*>(calloc(1, sizeof(TMobiService)));
  if (service == nullptr) return nullptr;
  service->handle = new (std::nothrow) MobiBook();
  if (service->handle == nullptr) {
    free(service);
    return nullptr;
  }
  service->Open = Open;
  service->Close = Close;
  service->ExtractHtml = ExtractHtml;
  service->GetTitle = GetTitle;
  service->GetAuthor = GetAuthor;
  service->GetCoverImage = GetCoverImage;
  service->SetReadToc = SetReadToc;
  service->GetToc = GetToc;
  service->FreeToc = FreeToc;
  return service;
}

void FreeMobiService(TMobiService* service) {
  if (service == nullptr) return;
  // Closes the book too, should the caller have skipped Close.
  delete BookOf(service->handle);
  free(service);
}
