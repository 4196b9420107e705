#include "support/test_support.h"

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <zip.h>

#include <algorithm>
#include <fstream>
#include <regex>
#include <sstream>

namespace kavtest {

namespace {

void RemoveTree(const std::string& path) {
  std::string command = "rm -rf '" + path + "'";
  if (system(command.c_str()) != 0) ADD_FAILURE() << "cannot remove " << path;
}

void CollectFiles(const std::string& root, const std::string& relative,
                  std::vector<std::string>* out) {
  std::string dir = relative.empty() ? root : root + "/" + relative;
  DIR* handle = opendir(dir.c_str());
  if (handle == nullptr) return;
  while (dirent* entry = readdir(handle)) {
    std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    std::string rel = relative.empty() ? name : relative + "/" + name;
    if (IsDir(root + "/" + rel)) {
      CollectFiles(root, rel, out);
    } else {
      out->push_back(rel);
    }
  }
  closedir(handle);
}

}  // namespace

TempDir::TempDir() {
  char pattern[] = "/tmp/kavtest-XXXXXX";
  char* made = mkdtemp(pattern);
  if (made == nullptr) {
    ADD_FAILURE() << "mkdtemp failed";
    return;
  }
  path_ = made;
}

TempDir::~TempDir() {
  if (!path_.empty()) {
    chmod(path_.c_str(), 0700);
    RemoveTree(path_);
  }
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  if (!out) ADD_FAILURE() << "cannot write " << path;
}

bool Exists(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

bool IsDir(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void MakeDirs(const std::string& path) {
  std::string command = "mkdir -p '" + path + "'";
  if (system(command.c_str()) != 0) ADD_FAILURE() << "cannot make " << path;
}

std::vector<std::string> ListFiles(const std::string& dir) {
  std::vector<std::string> files;
  CollectFiles(dir, "", &files);
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  size_t start = 0;
  while (true) {
    size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      lines.push_back(text.substr(start));
      return lines;
    }
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
}

std::vector<ZipEntry> ReadZip(const std::string& path) {
  std::vector<ZipEntry> entries;
  int error = 0;
  zip_t* archive = zip_open(path.c_str(), ZIP_RDONLY, &error);
  if (archive == nullptr) {
    ADD_FAILURE() << "cannot open archive " << path << " (libzip error " << error << ")";
    return entries;
  }
  zip_int64_t count = zip_get_num_entries(archive, 0);
  for (zip_int64_t i = 0; i < count; ++i) {
    zip_stat_t st;
    zip_stat_init(&st);
    if (zip_stat_index(archive, i, 0, &st) != 0) continue;
    ZipEntry entry;
    entry.name = st.name;
    entry.stored = st.comp_method == ZIP_CM_STORE;
    zip_file_t* file = zip_fopen_index(archive, i, 0);
    if (file != nullptr) {
      entry.data.resize(st.size);
      zip_int64_t got = st.size == 0 ? 0 : zip_fread(file, &entry.data[0], st.size);
      if (got != static_cast<zip_int64_t>(st.size)) ADD_FAILURE() << "short read of " << st.name;
      zip_fclose(file);
    }
    entries.push_back(entry);
  }
  zip_discard(archive);
  return entries;
}

std::vector<EpubcheckFinding> RunEpubcheck(const std::string& epubPath, std::string* report) {
  std::vector<EpubcheckFinding> findings;
  std::string command = "java -jar /usr/bin/epubcheck '" + epubPath + "' 2>&1";
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run epubcheck";
    return findings;
  }
  std::string text;
  char buffer[4096];
  size_t got;
  while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) text.append(buffer, got);
  pclose(pipe);
  if (report != nullptr) *report = text;
  // Lines such as: ERROR(RSC-005): book.epub/OEBPS/content.opf(2,345): message
  std::regex line(R"(^(FATAL|ERROR|WARNING|INFO|USAGE)\(([A-Z]+-[0-9]+)\):(.*)$)");
  for (const std::string& l : Lines(text)) {
    std::smatch m;
    if (std::regex_match(l, m, line)) findings.push_back({m[1], m[2], m[3]});
  }
  return findings;
}

std::string SourcePath(const std::string& relative) {
  return std::string(KAV_SOURCE_DIR) + "/" + relative;
}

std::string BuildPath(const std::string& relative) {
  return std::string(KAV_BINARY_DIR) + "/" + relative;
}

}  // namespace kavtest
