#include "cli/batch_plan.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>

#include "cli/book_kind.h"

namespace kavcli {

namespace {

struct Found {
  std::string path;  // below the input directory
  timespec changed;
  const char* command;
};

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
  return text;
}

bool Scan(const std::string& root, const std::string& below, std::vector<Found>* found,
          ToolError* error) {
  const std::string dirPath = below.empty() ? root : root + "/" + below;
  DIR* dir = opendir(dirPath.c_str());
  if (dir == nullptr) {
    error->kind = ToolFailure::kReadDirectory;
    error->subject = dirPath;
    return false;
  }
  std::vector<std::string> subdirs;
  while (dirent* entry = readdir(dir)) {
    if (entry->d_name[0] == '.') continue;
    const std::string relative = below.empty() ? entry->d_name : below + "/" + entry->d_name;
    struct stat info = {};
    if (lstat((root + "/" + relative).c_str(), &info) != 0) continue;
    if (S_ISDIR(info.st_mode)) {
      subdirs.push_back(relative);
      continue;
    }
    // A link counts as what it points to, except a directory: that could
    // lead back up the tree.
    if (S_ISLNK(info.st_mode) && stat((root + "/" + relative).c_str(), &info) != 0) continue;
    const char* command = S_ISREG(info.st_mode) ? CommandForBook(root + "/" + relative) : nullptr;
    if (command != nullptr) found->push_back({relative, info.st_mtim, command});
  }
  closedir(dir);
  for (const std::string& subdir : subdirs) {
    if (!Scan(root, subdir, found, error)) return false;
  }
  return true;
}

// "a/./b/../c" as "a/c"; empty when it climbs above the root.
std::string Normalise(const std::string& path) {
  std::vector<std::string> parts;
  std::stringstream stream(path);
  std::string part;
  while (std::getline(stream, part, '/')) {
    if (part.empty() || part == ".") continue;
    if (part != "..") {
      parts.push_back(part);
    } else if (parts.empty()) {
      return "";
    } else {
      parts.pop_back();
    }
  }
  std::string joined;
  for (const std::string& p : parts) joined += (joined.empty() ? "" : "/") + p;
  return joined;
}

std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

bool IsIndex(const std::string& path) {
  const size_t slash = path.rfind('/');
  const std::string name = Lower(slash == std::string::npos ? path : path.substr(slash + 1));
  return name == "index.html" || name == "index.htm";
}

// Page links of an HTML document (href values, without #fragment or
// ?query, other sites and absolute paths left out), as written.
std::vector<std::string> PageLinks(const std::string& html) {
  std::vector<std::string> links;
  const std::string lower = Lower(html);
  for (size_t at = lower.find("href"); at != std::string::npos; at = lower.find("href", at + 4)) {
    if (at > 0 && (isalnum(static_cast<unsigned char>(lower[at - 1])) || lower[at - 1] == '-')) {
      continue;
    }
    size_t i = at + 4;
    while (i < html.size() && isspace(static_cast<unsigned char>(html[i]))) ++i;
    if (i >= html.size() || html[i] != '=') continue;
    ++i;
    while (i < html.size() && isspace(static_cast<unsigned char>(html[i]))) ++i;
    if (i >= html.size()) break;
    size_t end;
    if (html[i] == '"' || html[i] == '\'') {
      end = html.find(html[i], i + 1);
      ++i;
    } else {
      end = html.find_first_of(" \t\r\n>", i);
    }
    std::string link = html.substr(i, end == std::string::npos ? std::string::npos : end - i);
    link = link.substr(0, link.find_first_of("#?"));
    const size_t colon = link.find(':');
    if (link.empty() || link[0] == '/' || (colon != std::string::npos && colon < link.find('/'))) {
      continue;  // the same page, an absolute path, or another scheme or site
    }
    links.push_back(link);
  }
  return links;
}

// Which pages are top pages, and for each the newest change among the
// pages it reaches.
class PageGraph {
 public:
  PageGraph(const std::string& root, const std::vector<Found*>& pages) : pages_(pages) {
    std::map<std::string, size_t> index;
    for (size_t i = 0; i < pages.size(); ++i) index[pages[i]->path] = i;
    links_.resize(pages.size());
    std::vector<bool> linked(pages.size(), false);
    for (size_t i = 0; i < pages.size(); ++i) {
      const std::string& path = pages[i]->path;
      const size_t slash = path.rfind('/');
      const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
      for (const std::string& link : PageLinks(ReadText(root + "/" + path))) {
        auto target = index.find(Normalise(dir + link));
        if (target == index.end() || target->second == i) continue;
        links_[i].push_back(target->second);
        linked[target->second] = true;
      }
    }
    std::vector<bool> reached(pages.size(), false);
    for (size_t i = 0; i < pages.size(); ++i) {
      if (!linked[i]) Reach(i, &reached);
    }
    // Pages that only link to each other in a ring (chapters linking back
    // to their contents page): an index page starts the book, if there is
    // one, or else the first of them.
    for (bool indexOnly : {true, false}) {
      for (size_t i = 0; i < pages.size(); ++i) {
        if (!reached[i] && (!indexOnly || IsIndex(pages[i]->path))) Reach(i, &reached);
      }
    }
  }

  const std::vector<size_t>& tops() const { return tops_; }

  timespec NewestFrom(size_t top) const {
    std::vector<bool> seen(pages_.size(), false);
    std::vector<size_t> queue = {top};
    seen[top] = true;
    timespec newest = pages_[top]->changed;
    while (!queue.empty()) {
      const size_t page = queue.back();
      queue.pop_back();
      if (Later(pages_[page]->changed, newest)) newest = pages_[page]->changed;
      for (size_t next : links_[page]) {
        if (!seen[next]) queue.push_back(next), seen[next] = true;
      }
    }
    return newest;
  }

 private:
  void Reach(size_t top, std::vector<bool>* reached) {
    tops_.push_back(top);
    std::vector<size_t> queue = {top};
    (*reached)[top] = true;
    while (!queue.empty()) {
      const size_t page = queue.back();
      queue.pop_back();
      for (size_t next : links_[page]) {
        if (!(*reached)[next]) queue.push_back(next), (*reached)[next] = true;
      }
    }
  }

  const std::vector<Found*>& pages_;
  std::vector<std::vector<size_t>> links_;
  std::vector<size_t> tops_;
};

// "a/b.txt" becomes "a/b.epub"; when two inputs would make the same book
// ("b.txt" and "b.mobi"), each keeps its whole name ("b.txt.epub").
void NameOutputs(std::vector<BatchItem>* items) {
  std::map<std::string, int> uses;
  for (BatchItem& item : *items) {
    item.output = BookName(item.input);
    ++uses[item.output];
  }
  for (BatchItem& item : *items) {
    if (uses[item.output] > 1) item.output = item.input + ".epub";
  }
}

}  // namespace

bool Later(const timespec& a, const timespec& b) {
  return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

bool PlanBatch(const std::string& inputDir, std::vector<BatchItem>* items, ToolError* error) {
  std::vector<Found> found;
  if (!Scan(inputDir, "", &found, error)) return false;
  std::sort(found.begin(), found.end(),
            [](const Found& a, const Found& b) { return a.path < b.path; });
  std::vector<Found*> pages;
  for (Found& f : found) {
    if (std::string(f.command) == "html") {
      pages.push_back(&f);
    } else {
      items->push_back({f.path, f.command, "", f.changed});
    }
  }
  PageGraph graph(inputDir, pages);
  for (size_t top : graph.tops()) {
    items->push_back({pages[top]->path, "html", "", graph.NewestFrom(top)});
  }
  std::sort(items->begin(), items->end(),
            [](const BatchItem& a, const BatchItem& b) { return a.input < b.input; });
  NameOutputs(items);
  return true;
}

bool InShard(const std::string& input, int k, int n) {
  // Slices by a hash of the input path rather than by position in the
  // sorted list, so that a book stays in its slice when others are added
  // or removed and an earlier run's books are skipped by the same machine.
  // FNV-1a: small, and the same on every machine.
  uint64_t hash = 14695981039346656037ull;
  for (unsigned char c : input) hash = (hash ^ c) * 1099511628211ull;
  return static_cast<int>(hash % static_cast<uint64_t>(n)) == k - 1;
}

bool ParseShard(const std::string& text, int* k, int* n) {
  const char* start = text.c_str();
  char* end = nullptr;
  const long first = strtol(start, &end, 10);
  if (end == start || *end != '/' || !isdigit(static_cast<unsigned char>(end[1]))) return false;
  const char* second = end + 1;
  const long count = strtol(second, &end, 10);
  if (*end != '\0' || first < 1 || first > count || count > 1000000) return false;
  *k = static_cast<int>(first);
  *n = static_cast<int>(count);
  return true;
}

}  // namespace kavcli
