// Finding elements by node path: names joined by "/" (or "\" when the path
// has no "/"), each optionally followed by "-N" for the N-th occurrence.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/tool/kav_tool.h"
#include "xml/xml_base.h"
#include "xml/xml_string.h"

namespace {

// A path cut at its first separator.
struct PathSplit {
  std::string head;
  std::string rest;
  bool hasRest;
};

PathSplit SplitPath(const std::string& path) {
  const char separator = path.find('/') != std::string::npos ? '/' : '\\';
  const std::string::size_type at = path.find(separator);
  if (at == std::string::npos) return {path, std::string(), false};
  return {path.substr(0, at), path.substr(at + 1), true};
}

// Reads an occurrence index the way atoi does (leading blanks, a sign,
// digits up to the first other character, 0 when there are none), except
// that a number beyond the range of int is held at the nearest end instead
// of wrapping: "tr-99999999999" asks for a very late row, never the first.
int ReadIndex(const std::string& text) {
  const long value = std::strtol(text.c_str(), nullptr, 10);
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}

bool NameIs(const xmlNode* node, const xmlChar* name) { return xmlStrcmp(node->name, name) == 0; }

// The children a search descends into. Those of an entity reference are the
// entity's shared declaration, which lies outside the document tree.
xmlNode* FirstChild(const xmlNode* node) {
  return node->type == XML_ENTITY_REF_NODE ? nullptr : node->children;
}

xmlNode* LastChild(const xmlNode* node) {
  return node->type == XML_ENTITY_REF_NODE ? nullptr : node->last;
}

// The segments of a path, cut one after another by the separator rule.
std::vector<std::string> Segments(std::string path) {
  std::vector<std::string> segments;
  while (true) {
    PathSplit split = SplitPath(path);
    segments.push_back(split.head);
    if (!split.hasRest) return segments;
    path = split.rest;
  }
}

// The full search of FindLastNode over pre-cut segments: a node is tested
// before its descendants, children newest first. A trailing empty segment
// (a path ending in a separator) matches nothing.
xmlNode* SearchNewestFirst(xmlNode* start, const std::vector<std::string>& segments, size_t at) {
  const bool last = at + 1 == segments.size();
  if (last && segments[at].empty()) return nullptr;
  const size_t next = NameIs(start, BAD_CAST segments[at].c_str()) ? at + 1 : at;
  if (next == segments.size()) return start;
  for (xmlNode* child = LastChild(start); child != nullptr; child = child->prev) {
    xmlNode* found = SearchNewestFirst(child, segments, next);
    if (found != nullptr) return found;
  }
  return nullptr;
}

// The same search for a path of one segment, the builders' usual kind: the
// first node named name when start and each subtree are tested before their
// descendants and children are taken newest first. Nothing is allocated.
xmlNode* SearchNameNewestFirst(xmlNode* start, const xmlChar* name) {
  if (NameIs(start, name)) return start;
  for (xmlNode* child = LastChild(start); child != nullptr; child = child->prev) {
    xmlNode* found = SearchNameNewestFirst(child, name);
    if (found != nullptr) return found;
  }
  return nullptr;
}

// True when the path is one segment: it holds neither separator.
bool IsSingleSegment(const char* path) { return std::strpbrk(path, "/\\") == nullptr; }

}  // namespace

xmlNode* XMLBase::FindNode(xmlNode* start, const char* path) {
  if (KavIsStrNullOrEmpty(path) || start == nullptr) return nullptr;

  const std::string fullPath(path);
  const PathSplit split = SplitPath(fullPath);
  const std::string::size_type dash = split.head.find('-');
  std::string name = split.head;
  int index = 1;
  if (dash != std::string::npos) {
    name = split.head.substr(0, dash);
    index = ReadIndex(split.head.substr(dash + 1));
  }
  // Each step down the siblings lowers the index by one, so an index below
  // 1 never reaches 1: nothing can match.
  if (index <= 0) return nullptr;
  const kav_xml::XmlString wanted(name.c_str());

  // Once a sibling of the wanted name has failed to find occurrence k >= 2
  // among the nodes after it, no later sibling can find occurrence k either:
  // fewer candidates follow it, and it would need only k - 1 of them. The
  // scans below stop there; the answer is the same as scanning on, but a
  // missing occurrence costs one pass instead of a pass per combination.
  auto nothingLater = [&wanted](const xmlNode* sibling, int occurrence) {
    return occurrence >= 2 && NameIs(sibling, wanted.get());
  };

  if (NameIs(start, wanted.get())) {
    if (index != 1) {
      // The path that counts the remaining occurrences among the siblings.
      const int remaining = index - 1;
      std::string newPath = fullPath;
      newPath.replace(dash + 1, split.head.size() - dash - 1, std::to_string(remaining));
      for (xmlNode* sibling = start->next; sibling != nullptr; sibling = sibling->next) {
        xmlNode* found = FindNode(sibling, newPath.c_str());
        if (found != nullptr) return found;
        if (nothingLater(sibling, remaining)) return nullptr;
      }
      return nullptr;
    }
    if (!split.hasRest) return start;
    for (xmlNode* child = FirstChild(start); child != nullptr; child = child->next) {
      xmlNode* found = FindNode(child, split.rest.c_str());
      if (found != nullptr) return found;
    }
    return nullptr;
  }

  for (xmlNode* child = FirstChild(start); child != nullptr; child = child->next) {
    xmlNode* found = FindNode(child, path);
    if (found != nullptr) return found;
    if (nothingLater(child, index)) return nullptr;
  }
  return nullptr;
}

xmlNode* XMLBase::FindLastNode(xmlNode* start, const char* path) {
  if (KavIsStrNullOrEmpty(path) || start == nullptr) return nullptr;

  // A path of one segment is its own head; it is compared as it stands.
  const bool single = IsSingleSegment(path);
  const xmlChar* name = BAD_CAST path;

  // The builders mostly ask again for the element they just found, for its
  // next sibling or for its parent; those answers need no search, even when
  // they lie outside the subtree of start.
  if (lastFound != nullptr && single) {
    if (lastFound->next != nullptr) {
      if (NameIs(lastFound->next, name)) {
        lastFound = lastFound->next;
        return lastFound;
      }
    } else if (NameIs(lastFound, name)) {
      return lastFound;
    } else if (lastFound->parent != nullptr) {
      if (NameIs(lastFound->parent, name)) {
        lastFound = lastFound->parent;
        return lastFound;
      }
    } else if (lastFound->last != nullptr && NameIs(lastFound->last, name)) {
      lastFound = lastFound->last;
      return lastFound;
    }
  }

  // Full search: a node before its descendants, newest child first.
  lastFound = nullptr;
  if (!single) {
    lastFound = SearchNewestFirst(start, Segments(path), 0);
    return lastFound;
  }
  const bool remembered = start == root;
  if (remembered) {
    auto known = rootSearches.find(std::string_view(path));
    if (known != rootSearches.end()) {
      lastFound = known->second;
      return lastFound;
    }
  }
  xmlNode* found = SearchNameNewestFirst(start, name);
  lastFound = found;
  if (remembered) rootSearches.emplace(path, found);
  return found;
}

void XMLBase::ForgetSearches() { rootSearches.clear(); }

void XMLBase::ForgetFoundBelow(const xmlNode* node) {
  for (const xmlNode* up = lastFound; up != nullptr; up = up->parent) {
    if (up->parent == node) {
      lastFound = nullptr;
      return;
    }
  }
}
