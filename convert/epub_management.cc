#include "convert/epub_management.h"

#include <new>

#include "builder/epub_base.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

EpubManagement::EpubManagement() : epub(nullptr), workDir(""), title(""), author("") {}

EpubManagement::~EpubManagement() {
  // The builder goes, its working files stay: removing them is ClearData's job.
  delete epub;
}

void EpubManagement::Destory() {
  // The pointer is deliberately left dangling; the object is finished after this.
  delete epub;
}

int EpubManagement::Init(const char* workDir, const char* title, const char* author) {
  (void)title;  // text books carry an empty title and author on purpose
  (void)author;
  // A builder from an earlier Init is not released: each object converts once.
  // Out of memory leaves no builder, which the conversions report.
  epub = new (std::nothrow) EpubBase();
  // A null directory reads as empty, so the builder reports it missing
  // instead of the string constructor crashing.
  this->workDir = workDir != nullptr ? workDir : "";
  processTmpDir = this->workDir + "/process_tmp";
  // Only a stale scratch directory of an earlier run is removed; the MOBI
  // path creates a fresh one when it needs it.
  if (KavIsFileOrDirExists(processTmpDir.c_str()) != 0) KavDeleteDir(processTmpDir.c_str());
  return KAV_OK;
}

int EpubManagement::ClearData() {
  // Without Init there is no builder and no scratch directory to remove.
  if (epub == nullptr) return KAV_OK;
  int result = epub->ClearData();
  // The scratch directory exists only after a MOBI conversion; its absence
  // is no failure.
  KavDeleteDir(processTmpDir.c_str());
  return result;
}
