#include "xml/well_formed.h"

#include <string_view>

#include "platform/tool/ascii_words.h"

namespace kav_xml {

namespace {

const char kReplacement[] = "\xEF\xBF\xBD";  // U+FFFD

bool IsXmlChar(unsigned long c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

// Length of the well-formed UTF-8 sequence of one XML character at text[i],
// or 0 when the bytes there are not one.
size_t XmlCharLength(std::string_view text, size_t i) {
  const unsigned char lead = static_cast<unsigned char>(text[i]);
  size_t length;
  unsigned long c;
  if (lead < 0x80) {
    length = 1;
    c = lead;
  } else if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
    c = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    c = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    c = lead & 0x07;
  } else {
    return 0;
  }
  if (text.size() - i < length) return 0;
  for (size_t k = 1; k < length; ++k) {
    const unsigned char next = static_cast<unsigned char>(text[i + k]);
    if ((next & 0xC0) != 0x80) return 0;
    c = (c << 6) | (next & 0x3F);
  }
  // Overlong forms would decode to a smaller length's range.
  static const unsigned long kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (c < kSmallest[length]) return 0;
  return IsXmlChar(c) ? length : 0;
}

// Length of the leading part of text that is made of XML characters.
size_t CleanLength(std::string_view text) {
  size_t i = 0;
  while (i < text.size()) {
    // Printable ASCII is an XML character each.
    i = KavSkipAsciiWords(text.data(), text.size(), i, 1);
    if (i == text.size()) break;
    const size_t length = XmlCharLength(text, i);
    if (length == 0) break;
    i += length;
  }
  return i;
}

void CleanContent(xmlNode* node) {
  if (node->content == nullptr) return;
  const std::string_view text(reinterpret_cast<const char*>(node->content));
  if (CleanLength(text) == text.size()) return;
  const std::string clean = ToXmlCharacters(std::string(text));
  xmlNodeSetContent(node, reinterpret_cast<const xmlChar*>(clean.c_str()));
}

void CleanChildren(xmlNode* first) {
  for (xmlNode* child = first; child != nullptr; child = child->next) {
    if (child->type == XML_TEXT_NODE) CleanContent(child);
  }
}

// Puts node's children in its place and frees node; the first of them, or
// what followed node when it had none.
xmlNode* Dissolve(xmlNode* node) {
  xmlNode* first = node->children;
  xmlNode* last = node->last;
  xmlNode* after = node->next;
  if (first == nullptr) {
    xmlUnlinkNode(node);
    xmlFreeNode(node);
    return after;
  }
  // Spliced by hand: xmlAddPrevSibling would merge neighbouring text nodes
  // and free some of the nodes being moved.
  for (xmlNode* child = first; child != nullptr; child = child->next) child->parent = node->parent;
  first->prev = node->prev;
  last->next = node->next;
  if (node->prev != nullptr) {
    node->prev->next = first;
  } else if (node->parent != nullptr) {
    node->parent->children = first;
  }
  if (node->next != nullptr) {
    node->next->prev = last;
  } else if (node->parent != nullptr) {
    node->parent->last = last;
  }
  node->children = node->last = nullptr;
  node->prev = node->next = nullptr;
  node->parent = nullptr;
  xmlFreeNode(node);
  return first;
}

}  // namespace

std::string ToXmlCharacters(const std::string& text) {
  size_t i = CleanLength(text);
  if (i == text.size()) return text;

  std::string clean = text.substr(0, i);
  while (i < text.size()) {
    const size_t length = XmlCharLength(text, i);
    if (length == 0) {
      clean += kReplacement;
      ++i;
    } else {
      clean.append(text, i, length);
      i += length;
    }
  }
  return clean;
}

void MakeWellFormed(xmlDoc* doc, std::vector<const xmlNode*>* removed) {
  if (doc == nullptr) return;
  // Walked without recursion: repaired HTML may nest very deeply.
  xmlNode* node = doc->children;
  while (node != nullptr) {
    if (node->type == XML_ELEMENT_NODE && node->name != nullptr && node->name[0] == '\0') {
      removed->push_back(node);
      xmlNode* parent = node->parent;
      node = Dissolve(node);
      if (node != nullptr) continue;
      // Nothing in its place: go on after the parent's last child.
      node = parent;
      while (node != nullptr && node->next == nullptr) node = node->parent;
      if (node != nullptr) node = node->next;
      continue;
    }
    switch (node->type) {
      case XML_TEXT_NODE:
      case XML_CDATA_SECTION_NODE:
      case XML_COMMENT_NODE:
      case XML_PI_NODE:
        CleanContent(node);
        break;
      case XML_ELEMENT_NODE:
        for (xmlAttr* attr = node->properties; attr != nullptr; attr = attr->next) {
          CleanChildren(attr->children);
        }
        break;
      default:
        break;
    }
    // Entity declarations and references keep their own children.
    if (node->children != nullptr && node->type != XML_ENTITY_REF_NODE &&
        node->type != XML_DTD_NODE) {
      node = node->children;
      continue;
    }
    while (node != nullptr && node->next == nullptr) node = node->parent;
    if (node != nullptr) node = node->next;
  }
}

}  // namespace kav_xml
