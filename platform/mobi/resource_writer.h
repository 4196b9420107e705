#ifndef KAV_EPUB_PLATFORM_MOBI_RESOURCE_WRITER_H_
#define KAV_EPUB_PLATFORM_MOBI_RESOURCE_WRITER_H_

#include <mobi.h>

#include <string>

namespace kavmobi {

// "resource%05zu.<ext>" for a picture (JPEG, GIF, PNG or BMP), the name the
// reconstructed img elements use; empty for any other resource. Names come
// only from this format, never from the book.
std::string ImageFileName(const MOBIPart& resource);

// Writes every picture of the resource list into dir ("" or ending in '/');
// 0 or KAV_MOBI_ERR_WRITE.
int WriteImageResources(const MOBIPart* resources, const std::string& dir);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_RESOURCE_WRITER_H_
