#ifndef KAV_EPUB_PACKAGE_ATTR_CHAIN_H_
#define KAV_EPUB_PACKAGE_ATTR_CHAIN_H_

#include "xml/xml_base.h"

// The attribute records of one element, each zeroed and linked in the order
// they are added, which is the order they are written in. Values go through
// SetAttrInfo, so an overlong name or value is cut instead of overflowing.
class AttrChain {
 public:
  // More attributes than any element of the book documents carries.
  static constexpr int kCapacity = 6;

  // Appends name = value; a null value is written as an empty one. Beyond
  // the capacity the attribute is dropped rather than written out of bounds.
  AttrChain& Add(const char* name, const char* value) {
    if (count_ == kCapacity) return *this;
    XMLAttrInfo* record = &records_[count_];
    *record = XMLAttrInfo{};
    SetAttrInfo(record, name, value != nullptr ? value : "", nullptr);
    if (count_ > 0) records_[count_ - 1].next = record;
    ++count_;
    return *this;
  }

  // The first record, or null for an element without attributes.
  XMLAttrInfo* head() { return count_ > 0 ? &records_[0] : nullptr; }

 private:
  // Each record is zeroed when it is taken into use; most elements carry
  // one or two attributes, and a page adds one per paragraph.
  XMLAttrInfo records_[kCapacity];
  int count_ = 0;
};

#endif  // KAV_EPUB_PACKAGE_ATTR_CHAIN_H_
