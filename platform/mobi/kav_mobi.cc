#include "platform/mobi/kav_mobi.h"

#include <stdlib.h>

// Placeholder reader whose Open always fails, until the libmobi reader lands.
namespace {
int Open(void*, const char*) { return 1; }
void Close(void*) {}
int ExtractHtml(void*, const char*) { return 1; }
char* Nothing(void*) { return nullptr; }
}  // namespace

TMobiService* CreateMobiService(void) {
  TMobiService* s = static_cast<TMobiService*>(calloc(1, sizeof(TMobiService)));
  if (s == nullptr) return nullptr;
  s->Open = Open;
  s->Close = Close;
  s->ExtractHtml = ExtractHtml;
  s->GetTitle = Nothing;
  s->GetAuthor = Nothing;
  s->GetCoverImage = Nothing;
  return s;
}

void FreeMobiService(TMobiService* service) { free(service); }
