#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "builder/book_paths.h"
#include "builder/epub_base.h"
#include "fileutil/file_util.h"
#include "service/kav_result.h"
#include "xml/xml_base.h"

namespace {

// A reference whose extension is any substring of this text is imported as a
// page; everything else is copied as a resource. The search is deliberately
// a plain, case-sensitive substring test ("ml" and "" count as pages).
const char kPageExtensions[] = "|html|xhtml|htm|";

// One key per file on disk, however it was reached: "a/../b/x.html" and
// "b/x.html" name the same file.
std::string FileKey(const std::string& path) {
  std::error_code error;
  std::filesystem::path canonical = std::filesystem::weakly_canonical(path, error);
  if (error) return std::filesystem::path(path).lexically_normal().string();
  return canonical.string();
}

// A file stored under a destination name: the unit that is imported once.
std::string ImportKey(const std::string& src, const std::string& dest) {
  return FileKey(src) + '\n' + dest;
}

std::string AfterLast(const std::string& text, char separator) {
  size_t pos = text.rfind(separator);
  return pos == std::string::npos ? text : text.substr(pos + 1);
}

}  // namespace

int EpubBase::AddHTHLToEpub(const char* htmlPath) {
  ++pageNum;
  std::string destPath = bookDir + "/OEBPS/" + kav_builder::PageFileName(pageNum);
  return GenerateNewHtml(htmlPath, destPath.c_str());
}

int EpubBase::GenerateNewHtml(const char* srcPath, const char* destPath) {
  // Pages that refer to each other in a cycle would be followed forever, so
  // one walk imports every file at most once for each name it is stored
  // under: the first visit gives the file its name and records, and later
  // references to it (through any relative path) add nothing. The top page
  // is stored as page-N.html, so a page linking back to it imports it once
  // more under its own name; that keeps the back link pointing at a page.
  importedFiles.clear();
  int r = ImportHtml(srcPath, destPath);
  importedFiles.clear();
  return r;
}

int EpubBase::ImportHtml(const char* srcPath, const char* destPath) {
  std::string src = srcPath != nullptr ? srcPath : "";
  std::string dest = destPath != nullptr ? destPath : "";
  if (!importedFiles.insert(ImportKey(src, dest)).second) return KAV_OK;

  std::string fileName = AfterLast(dest, '/');
  size_t dot = fileName.rfind('.');
  std::string stem = dot == std::string::npos ? fileName : fileName.substr(0, dot);
  size_t slash = dest.rfind('/');
  std::string destDir = slash == std::string::npos ? std::string() : dest.substr(0, slash + 1);

  XMLBase page;
  // Without a document nothing can be imported; that is not reported.
  if (page.Init() != 0) return KAV_OK;

  std::string name;
  std::string srcDir;
  GetFileOrDirFromPath(src.c_str(), name, srcDir);

  int r = page.HtmlProcess(src.c_str(), srcDir.c_str(), stem.c_str(), dtdPath.c_str());
  if (r != 0) return r;
  CreateFile(dest.c_str());
  page.SaveFile(dest.c_str());  // a failed save is not reported

  if (opfFile == nullptr || ncxFile == nullptr) return KAV_ERR_NO_PAGE;
  r = opfFile->AddRecordToOpf(fileName.c_str());
  if (r != 0) return r;
  r = ncxFile->AddRecordToNcx(fileName.c_str());
  if (r != 0) return r;

  // Everything the page refers to lands flat beside it under its own base
  // name. Failures below this page are ignored and the walk goes on.
  while (char* ref = page.GetXhtmlExternSource()) {
    std::string reference(ref);
    free(ref);
    std::string srcRes = srcDir + "/" + reference;
    std::string base = AfterLast(reference, '/');
    size_t extDot = srcRes.rfind('.');
    std::string ext = extDot == std::string::npos ? srcRes : srcRes.substr(extDot + 1);
    if (std::string(kPageExtensions).find(ext) == std::string::npos) {
      if (importedFiles.insert(ImportKey(srcRes, destDir + base)).second) {
        opfFile->AddRecordToOpf(base.c_str());
        CopyFile(srcRes.c_str(), (destDir + base).c_str());
      }
    } else {
      ImportHtml(srcRes.c_str(), (destDir + base).c_str());
    }
  }
  return KAV_OK;
}

int EpubBase::AppendPropToCSS(const char* text) {
  FILE* file = fopen(cssPath.c_str(), "ab");
  if (file == nullptr) return KAV_OK;  // a missing style sheet is not reported
  if (text != nullptr) fputs(text, file);
  return fclose(file);
}
