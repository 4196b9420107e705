#include <stddef.h>
#include <stdlib.h>
#include <string.h>

#include <new>

#include "builder/epub_base.h"
#include "convert/epub_management.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_epub.h"
#include "service/kav_result.h"
#include "service/service_record.h"

// The record is part of the binary interface: twelve pointers, no padding.
static_assert(sizeof(TEpubService) == 12 * sizeof(void*), "TEpubService has twelve slots");
static_assert(offsetof(TEpubService, AddHtmlToEpub) == 9 * sizeof(void*), "slot 10");
static_assert(offsetof(TEpubService, Mobi2Epub) == 11 * sizeof(void*), "slot 12");

namespace {

constexpr char kCopyright[] = "Kav EPUB 1.0 - Copyright (c) 2026 Kav EPUB developers";

bool HasBuilder(const TEpubData* data) { return data != nullptr && data->epub != nullptr; }

int InitEpub(TEpubData* data, const char* workDir, const char* title, const char* author) {
  // A null cell is a host error; answering it beats crashing the host.
  if (data == nullptr) return KAV_ERR_NO_BUILDER;
  // A builder already in the cell is not released: ClearUp comes first.
  data->epub = new (std::nothrow) EpubBase();
  if (data->epub == nullptr) return KAV_ERR_FAILED;
  return data->epub->Init(workDir, title, author);
}

void ClearUp(TEpubData* data) {
  if (!HasBuilder(data)) return;
  data->epub->ClearData();
  delete data->epub;
  data->epub = nullptr;
}

int StartPage(const TEpubData* data) {
  if (!HasBuilder(data)) return KAV_ERR_NO_BUILDER;
  return data->epub->StartPage();
}

int EndPage(const TEpubData* data) {
  if (!HasBuilder(data)) return KAV_ERR_NO_BUILDER;
  return data->epub->EndPage();
}

int AddTextLineToPage(const TEpubData* data, const char* line) {
  if (!HasBuilder(data)) return KAV_ERR_NO_BUILDER;
  return data->epub->AddTextLineToPage(line);
}

int AddImageToPage(const TEpubData* data, const char* imagePath) {
  if (!HasBuilder(data)) return KAV_ERR_NO_BUILDER;
  return data->epub->AddImageToPage(imagePath);
}

int AddImageToEpub(const TEpubData* data, const char* imagePath) {
  if (!HasBuilder(data)) return KAV_ERR_NO_BUILDER;
  return data->epub->AddImageToEpub(imagePath);
}

int GenerateEpub(const TEpubData* data, const char* epubPath) {
  if (!HasBuilder(data)) return KAV_ERR_NO_BUILDER;
  return data->epub->GenerateEpub(epubPath);
}

// The one entry that tests its path before the handle, and that reports a
// missing builder as an argument error.
int AddHtmlToEpub(const TEpubData* data, const char* htmlPath) {
  if (KavIsFileOrDirExists(htmlPath) == 0) return KAV_ERR_ARGUMENT;
  if (!HasBuilder(data)) return KAV_ERR_ARGUMENT;
  return data->epub->AddHTHLToEpub(htmlPath);
}

// The converter's scratch files always go, whatever the conversion returned.
int FinishConversion(EpubManagement* converter, int result) {
  converter->ClearData();
  delete converter;
  return result;
}

int Txt2Epub(const char* txtPath, const char* epubPath, const char* workDir, const char* title,
             const char* author, void* user, ProgressCallback progress) {
  if (KavIsStrNullOrEmpty(txtPath) != 0) return KAV_ERR_ARGUMENT;
  if (KavIsStrNullOrEmpty(epubPath) != 0) return KAV_ERR_ARGUMENT;
  if (KavIsFileOrDirExists(workDir) == 0) return KAV_ERR_ARGUMENT;

  EpubManagement* converter = new (std::nothrow) EpubManagement();
  if (converter == nullptr) return KAV_ERR_FAILED;
  int result = converter->Init(workDir, title, author);
  if (result == KAV_OK) result = converter->TXT2Epub(txtPath, epubPath, user, progress);
  return FinishConversion(converter, result);
}

int Mobi2Epub(const char* mobiPath, const char* epubPath, const char* workDir, void* user,
              ProgressCallback progress) {
  return kav_convert::ConvertMobiBook(mobiPath, epubPath, workDir, false, user, progress);
}

// The record's Mobi2Epub once a host made the record accessible.
int AccessibleMobi2Epub(const char* mobiPath, const char* epubPath, const char* workDir,
                        void* user, ProgressCallback progress) {
  return kav_convert::ConvertMobiBook(mobiPath, epubPath, workDir, true, user, progress);
}

}  // namespace

TEpubService* CreateEpubService(void) {
  TEpubService* record = static_cast<TEpubService*>(malloc(sizeof(TEpubService)));
  if (record == nullptr) return nullptr;
  TEpubData* data = static_cast<TEpubData*>(malloc(sizeof(TEpubData)));
  // A record without its cell is of no use, and null is the only failure a
  // host can be told.
  if (data == nullptr) {
    free(record);
    return nullptr;
  }
  data->epub = nullptr;
  record->data = data;

  record->InitEpub = InitEpub;
  record->ClearUp = ClearUp;
  record->StartPage = StartPage;
  record->EndPage = EndPage;
  record->AddTextLineToPage = AddTextLineToPage;
  record->AddImageToPage = AddImageToPage;
  record->AddImageToEpub = AddImageToEpub;
  record->GenerateEpub = GenerateEpub;
  record->AddHtmlToEpub = AddHtmlToEpub;
  record->Txt2Epub = Txt2Epub;
  record->Mobi2Epub = Mobi2Epub;
  return record;
}

void FreeEpubService(TEpubService* record) {
  // Like free, a null record is nothing to release.
  if (record == nullptr) return;
  if (record->data == nullptr) {
    free(record);
    return;
  }
  if (record->data->epub == nullptr) {
    free(record->data);
    free(record);
    return;
  }
  record->data->epub->ClearData();
  delete record->data->epub;
  record->data->epub = nullptr;
  free(record->data);
  free(record);
}

namespace kav_service {

void SetRecordAccessible(TEpubService* record, bool on) {
  // The slot's signature carries no record, so the record's choice is which
  // function its slot holds.
  record->Mobi2Epub = on ? AccessibleMobi2Epub : Mobi2Epub;
}

}  // namespace kav_service

char* GetEpubCopyright(void) { return strdup(kCopyright); }
