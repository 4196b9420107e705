#include "builder/epub_base.h"

#include <stdio.h>
#include <string.h>

#include "builder/html_encoding.h"
#include "builder/page_extras.h"
#include "fileutil/file_util.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

namespace {

const char kMimetype[] = "application/epub+zip";
const char kCssSentinel[] = "###";

}  // namespace

EpubBase::EpubBase()
    : opfFile(nullptr),
      ncxFile(nullptr),
      pageFile(nullptr),
      pageNum(0),
      imageNum(0),
      prevIndent(0),
      prevLineLen(0),
      maxLineLen(0) {}

EpubBase::~EpubBase() {
  kav_builder::ForgetPageExtras(this);
  kav_builder::ForgetHtmlEncoding(this);
  kav_builder::ForgetBookAccess(this);
  kav_builder::TakeImageCaption(this);
  Destory();
}

void EpubBase::Destory() {
  delete opfFile;
  opfFile = nullptr;
  delete ncxFile;
  ncxFile = nullptr;
  delete pageFile;
  pageFile = nullptr;
}

int EpubBase::Init(const char* root, const char* title, const char* author) {
  if (KavIsFileOrDirExists(root) == 0) return KAV_ERR_MISSING;

  // "/data" and "/data/" both give "/data/epub_temp"; an empty root gives the
  // relative "epub_temp".
  tempDir = root;
  if (!tempDir.empty() && tempDir.back() != '/') {
    tempDir += "/epub_temp";
  } else {
    tempDir += "epub_temp";
  }

  // A working directory left by an earlier run is always wiped.
  if (KavIsFileOrDirExists(tempDir.c_str()) != 0) KavDeleteDir(tempDir.c_str());
  KavMkdir(tempDir.c_str());

  dtdPath = tempDir;
  bookDir = tempDir + "/epub";
  // Failures to create directories surface later, when files are opened.
  KavMkdir(bookDir.c_str());
  KavMkdir((bookDir + "/META-INF").c_str());
  KavMkdir((bookDir + "/OEBPS").c_str());
  KavMkdir((bookDir + "/OEBPS" + "/images").c_str());

  {
    XMLFile container;
    int r = static_cast<int>(
        container.GenerateContainerFile((bookDir + "/META-INF/container.xml").c_str()));
    if (r != 0) return r;
  }

  // The DTD lies beside the book directory, so it is never packed.
  dtdPath += "/xhtml1-strict.dtd";
  FILE* dtd = fopen(dtdPath.c_str(), "wb");
  if (dtd == nullptr) return KAV_ERR_OPEN;
  const char* dtdText = kXhtml1StrictDtd[0];
  if (dtdText != nullptr) fwrite(dtdText, 1, strlen(dtdText), dtd);
  fclose(dtd);

  int r = GenerateMimetypeFile();
  if (r != 0) return r;

  // A builder is initialised once; should Init run again anyway, the former
  // documents are released instead of leaked.
  delete ncxFile;
  ncxFile = new XMLFile();
  r = ncxFile->InitNcxFile(title);
  if (r != 0) return r;

  delete opfFile;
  opfFile = new XMLFile();
  r = opfFile->InitOpfFile(title, author);
  if (r != 0) return r;

  cssPath = bookDir + "/OEBPS/main.css";
  r = GenerateCSSFile();
  if (r != 0) return r;

  return opfFile->AddRecordToOpf("main.css");
}

int EpubBase::GenerateMimetypeFile() {
  std::string path = bookDir + "/" + "mimetype";
  CreateFile(path.c_str());
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return KAV_ERR_OPEN;
  // Exactly the media type: no line end, no byte order mark.
  fwrite(kMimetype, 1, sizeof(kMimetype) - 1, file);
  fclose(file);
  return KAV_OK;
}

int EpubBase::GenerateCSSFile() {
  std::string path = cssPath;
  CreateFile(path.c_str());
  FILE* file = fopen(path.c_str(), "wb");
  if (file == nullptr) return KAV_ERR_CSS_OPEN;
  for (const char* const* entry = kCssRes; strcmp(*entry, kCssSentinel) != 0; ++entry) {
    fwrite(*entry, 1, strlen(*entry), file);
  }
  fclose(file);
  return KAV_OK;
}

int EpubBase::ClearData() { return KavDeleteDir(tempDir.c_str()) == 0 ? KAV_OK : KAV_ERR_FAILED; }
