#include "platform/mobi/kav_mobi.h"

#include <stdlib.h>

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
  return service;
}

void FreeMobiService(TMobiService* service) {
  if (service == nullptr) return;
  // Closes the book too, should the caller have skipped Close.
  delete BookOf(service->handle);
  free(service);
}
