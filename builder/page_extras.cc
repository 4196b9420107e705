#include "builder/page_extras.h"

#include <map>
#include <mutex>

#include "builder/epub_base.h"
#include "service/kav_result.h"

namespace kav_builder {

namespace {

std::mutex& Lock() {
  static std::mutex lock;
  return lock;
}

std::map<const EpubBase*, PageExtras>& Table() {
  static std::map<const EpubBase*, PageExtras> table;
  return table;
}

}  // namespace

PageExtras PageExtrasOf(const EpubBase* builder) {
  std::lock_guard<std::mutex> hold(Lock());
  auto found = Table().find(builder);
  return found == Table().end() ? PageExtras() : found->second;
}

void SetPageExtras(const EpubBase* builder, const PageExtras& extras) {
  std::lock_guard<std::mutex> hold(Lock());
  Table()[builder] = extras;
}

void ForgetPageExtras(const EpubBase* builder) {
  std::lock_guard<std::mutex> hold(Lock());
  Table().erase(builder);
}

}  // namespace kav_builder

int EpubBase::SetLanguage(const char* language) {
  if (opfFile == nullptr) return KAV_ERR_NO_PAGE;
  return opfFile->SetOpfLanguage(language);
}

int EpubBase::SetPageHeading(const char* heading) {
  if (pageFile == nullptr) return KAV_ERR_NO_OPEN_PAGE;
  int r = pageFile->SetHtmlHeading(heading);
  if (r != KAV_OK) return r;
  kav_builder::PageExtras extras = kav_builder::PageExtrasOf(this);
  extras.labelled = true;
  extras.label = heading != nullptr ? heading : "";
  kav_builder::SetPageExtras(this, extras);
  return KAV_OK;
}

int EpubBase::SetPageListed(bool listed) {
  if (pageFile == nullptr) return KAV_ERR_NO_OPEN_PAGE;
  kav_builder::PageExtras extras = kav_builder::PageExtrasOf(this);
  extras.listed = listed;
  kav_builder::SetPageExtras(this, extras);
  return KAV_OK;
}
