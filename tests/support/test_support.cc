#include "support/test_support.h"

#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <zip.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

namespace kavtest {

namespace fs = std::filesystem;

TempDir::TempDir() {
  char pattern[] = "/tmp/kavtest-XXXXXX";
  path_ = mkdtemp(pattern) != nullptr ? pattern : "";
  if (path_.empty()) ADD_FAILURE() << "mkdtemp failed";
}

TempDir::~TempDir() {
  std::error_code error;
  if (!path_.empty() && fs::remove_all(path_, error) == static_cast<std::uintmax_t>(-1)) {
    ADD_FAILURE() << "cannot remove " << path_;
  }
}

std::string ReadFile(const std::string& path) {
  std::ostringstream out;
  out << std::ifstream(path, std::ios::binary).rdbuf();
  return out.str();
}

void WriteFile(const std::string& path, const std::string& content) {
  if (!(std::ofstream(path, std::ios::binary | std::ios::trunc) << content)) {
    ADD_FAILURE() << "cannot write " << path;
  }
}

bool Exists(const std::string& path) {
  std::error_code error;
  return fs::exists(fs::symlink_status(path, error));
}

bool IsDir(const std::string& path) {
  std::error_code error;
  return fs::is_directory(fs::symlink_status(path, error));
}

void MakeDirs(const std::string& path) {
  std::error_code error;
  if (!fs::create_directories(path, error) && error) ADD_FAILURE() << "cannot make " << path;
}

// Links are listed as files, never followed.
std::vector<std::string> ListFiles(const std::string& dir) {
  std::vector<std::string> files;
  std::error_code error;
  for (fs::recursive_directory_iterator it(dir, error), end; !error && it != end;
       it.increment(error)) {
    if (!IsDir(it->path())) files.push_back(it->path().lexically_relative(dir));
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines(1);
  for (char c : text) {
    if (c == '\n')
      lines.emplace_back();
    else
      lines.back().push_back(c);
  }
  return lines;
}

std::vector<ZipEntry> ReadZip(const std::string& path) {
  std::vector<ZipEntry> entries;
  zip_t* archive = zip_open(path.c_str(), ZIP_RDONLY, nullptr);
  if (archive == nullptr) ADD_FAILURE() << "cannot open archive " << path;
  for (zip_int64_t i = 0; archive != nullptr && i < zip_get_num_entries(archive, 0); ++i) {
    zip_stat_t st;
    zip_file_t* file =
        zip_stat_index(archive, i, 0, &st) == 0 ? zip_fopen_index(archive, i, 0) : nullptr;
    if (file == nullptr) {
      ADD_FAILURE() << "cannot read entry " << i << " of " << path;
      continue;
    }
    ZipEntry entry{st.name, st.comp_method == ZIP_CM_STORE, std::string(st.size, '\0')};
    if (zip_fread(file, &entry.data[0], st.size) != static_cast<zip_int64_t>(st.size)) {
      ADD_FAILURE() << "short read of " << st.name;
    }
    zip_fclose(file);
    entries.push_back(entry);
  }
  if (archive != nullptr) zip_discard(archive);
  return entries;
}

int RunCommand(const std::string& command, std::string* output) {
  FILE* pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) return -1;
  char buffer[4096];
  for (size_t got; (got = fread(buffer, 1, sizeof buffer, pipe)) > 0;) output->append(buffer, got);
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<EpubcheckFinding> RunEpubcheck(const std::string& epubPath, std::string* report) {
  std::vector<EpubcheckFinding> findings;
  std::string text;
  if (RunCommand("java -jar /usr/bin/epubcheck '" + epubPath + "'", &text) < 0) {
    ADD_FAILURE() << "cannot run epubcheck";
  }
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
