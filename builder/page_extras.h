#ifndef KAV_EPUB_BUILDER_PAGE_EXTRAS_H_
#define KAV_EPUB_BUILDER_PAGE_EXTRAS_H_

#include <string>

class EpubBase;

namespace kav_builder {

// What a host said about the page being built through the extension
// interface: its label in the navigation document and whether it is listed
// there. Kept beside the builder rather than in it, so that EpubBase keeps
// the size that hosts built against earlier headers allocate.
struct PageExtras {
  bool labelled = false;
  std::string label;
  bool listed = true;
};

// The builder's settings for its current page; a fresh page has the
// defaults. Safe from several threads for different builders.
PageExtras PageExtrasOf(const EpubBase* builder);
void SetPageExtras(const EpubBase* builder, const PageExtras& extras);
// Back to the defaults (a new page, or the builder going).
void ForgetPageExtras(const EpubBase* builder);

}  // namespace kav_builder

#endif  // KAV_EPUB_BUILDER_PAGE_EXTRAS_H_
