#include <string.h>

#include <string>

#include "builder/book_paths.h"
#include "builder/epub_base.h"
#include "builder/page_extras.h"
#include "fileutil/file_util.h"
#include "platform/tool/kav_tool.h"
#include "service/kav_result.h"

// References are built in std::string rather than fixed 256-byte buffers, so
// long base names cannot overrun anything; names that fit behave the same.

namespace {

const char kCoverExtensions[] = "|.jpeg|.jpg|.png|.gif|";
const char kCoverPage[] = "cover.html";

bool EndsWithWmf(const char* path) {
  size_t len = strlen(path);
  return len >= 5 && strcmp(path + len - 4, ".wmf") == 0;
}

}  // namespace

int EpubBase::AddCoverImageToEpub(const char* imagePath) {
  if (KavIsFileExists(imagePath) == 0) return KAV_ERR_MISSING;

  // The extension runs from the last "." anywhere in the path, so a dot in a
  // folder name yields something like ".dir/cover", which is skipped. A path
  // without any dot has no extension at all and is skipped the same way.
  std::string path(imagePath);
  size_t dot = path.rfind('.');
  if (dot == std::string::npos) return KAV_OK;
  std::string extension = "|" + path.substr(dot) + "|";
  if (std::string(kCoverExtensions).find(extension) == std::string::npos) return KAV_OK;

  std::string ref = "images/" + kav_builder::BaseName(imagePath);
  int r = CopyFile(imagePath, (bookDir + "/OEBPS/" + ref).c_str());
  if (r != 0) return r;

  XMLFile cover;
  r = cover.InitHTML("cover");
  if (r != 0) return r;
  r = cover.AddImageToXhtml(ref.c_str());
  if (r != 0) return r;
  kav_builder::BookAccess access = kav_builder::BookAccessOf(this);
  if (access.accessible) {
    ++access.pictures;
    r = cover.SetHtmlAccess(access.language.c_str(), (access.title + ", cover").c_str());
    if (r != 0) return r;
    kav_builder::SetBookAccess(this, access);
  }
  std::string coverPath = bookDir + "/OEBPS/" + kCoverPage;
  CreateFile(coverPath.c_str());
  cover.SaveHtml(coverPath.c_str());  // a failed save is not reported

  if (opfFile == nullptr) return KAV_ERR_NO_PAGE;
  return opfFile->AddCoverToOpf(kCoverPage, ref.c_str());
}

int EpubBase::AddImageToEpub(const char* imagePath) {
  const std::string caption = kav_builder::TakeImageCaption(this);
  if (KavIsFileExists(imagePath) == 0) return KAV_ERR_MISSING;

  std::string ref = "images/" + kav_builder::BaseName(imagePath);
  int r = CopyFile(imagePath, (bookDir + "/OEBPS/" + ref).c_str());
  if (r != 0) return r;

  // The picture page takes the next number of the text pages' sequence.
  ++pageNum;
  XMLFile page;
  r = page.InitHTML(std::to_string(pageNum).c_str());
  if (r != 0) return r;
  r = page.AddImageToHtml(ref.c_str(), caption.c_str());
  if (r != 0) return r;
  kav_builder::BookAccess access = kav_builder::BookAccessOf(this);
  if (access.accessible) {
    ++access.pictures;
    if (!caption.empty()) ++access.described;
    ++access.pages;
    r = page.SetHtmlAccess(access.language.c_str(),
                           kav_builder::PageTitle(access, pageNum, nullptr).c_str());
    if (r != 0) return r;
    kav_builder::SetBookAccess(this, access);
  }
  std::string name = kav_builder::PageFileName(pageNum);
  std::string pagePath = bookDir + "/OEBPS/" + name;
  CreateFile(pagePath.c_str());
  page.SaveHtml(pagePath.c_str());  // a failed save is not reported

  if (opfFile == nullptr || ncxFile == nullptr) return KAV_ERR_NO_PAGE;
  r = opfFile->AddRecordToOpf(ref.c_str());
  if (r != 0) return r;
  return RegisterPage(name);
}

int EpubBase::AddImageToPage(const char* imagePath) {
  const std::string caption = kav_builder::TakeImageCaption(this);
  if (KavIsFileExists(imagePath) == 0) return KAV_ERR_MISSING;
  if (pageFile == nullptr) return KAV_ERR_NO_PAGE;
  // Windows metafiles are skipped, not converted.
  if (EndsWithWmf(imagePath)) return KAV_OK;

  std::string name = kav_builder::BaseName(imagePath);
  int r = CopyFile(imagePath, (bookDir + "/OEBPS/images/" + name).c_str());
  if (r != 0) return r;

  // The picture ends the paragraph gathered so far.
  r = pageFile->AddTextLineToHtml(paraText.c_str());
  if (r != 0) return r;
  paraText.clear();
  prevIndent = 0;
  prevLineLen = 0;
  ++imageNum;

  std::string ref = "images/" + name;
  r = pageFile->AddImageToHtml(ref.c_str(), caption.c_str());
  if (r != 0) return r;
  kav_builder::BookAccess access = kav_builder::BookAccessOf(this);
  if (access.accessible) {
    ++access.pictures;  // described only when the host gave a caption
    if (!caption.empty()) ++access.described;
    kav_builder::SetBookAccess(this, access);
  }
  if (opfFile == nullptr) return KAV_ERR_NO_PAGE;
  return opfFile->AddRecordToOpf(ref.c_str());
}
