// The name lists the XHTML repair decides by. Each is one literal string of
// names between vertical bars; membership is a case-sensitive substring test,
// either of the bare name or of the name framed by bars, as each rule says.
#ifndef KAV_EPUB_XML_XHTML_NAME_LISTS_H_
#define KAV_EPUB_XML_XHTML_NAME_LISTS_H_

#include <cstddef>
#include <string_view>

namespace kav_xml {

// Element names kept as they are. Tested with the bare name, so any part of
// a listed name ("b", "tml", "ody") passes too.
constexpr std::string_view kAllowedNames =
    "|body|head|html|title|abbr|acronym|address|blockquote|br|cite|code|dfn|div|em|h1|h2|h3|h4|"
    "h5|h6|kbd|p|pre|q|samp|span|strong|var|a|dl|dt|dd|ol|ul|li|param|b|big|hr|i|small|sub|sup|"
    "tt|del|ins|bdo|caption|col|colgroup|table|tbody|td|tfoot|th|thead|tr|img|area|map|meta|"
    "link|base|text|";

// Block-level names: an unknown one becomes a div, and the body keeps such
// children unwrapped.
constexpr std::string_view kBlockNames =
    "|address|blockquote|center|dir|div|dl|fieldset|form|h1|h2|h3|h4|h5|h6|hr|isindex|menu|"
    "noframes|noscript|ol|p|pre|table|ul|dd|dt|frameset|li|tbody|td|tfoot|th|thead|tr|applet|"
    "button|del|iframe|ins|map|object|script|";

// Elements whose children are list items, rows or columns, never loose
// inline content.
constexpr std::string_view kListContainerNames =
    "|ul|dl|tr|tbody|tfoot|thead|colgroup|ol|menu|dir|";

// Elements that belong in the head and are dropped from the body.
constexpr std::string_view kHeadOnlyNames = "|title|meta|base|link|style|";

// On-event attributes. Tested with the bare name.
constexpr std::string_view kEventAttributeNames =
    "|onclick|ondblclick|onmousedown|onmouseup|onmouseover|onmousemove|onmouseout|onkeypress|"
    "onkeydown|onkeyup|";

// Picture file extensions a page may show.
constexpr std::string_view kImageExtensions = "|.jpeg|.jpg|.png|.gif|";

// Whether "|" + name + "|" occurs in list. Searched in place, without
// building the framed text: every occurrence of name is checked for a bar on
// either side, which answers exactly as the framed search does, also for a
// name that holds bars of its own or is empty.
constexpr bool ListHasFramed(std::string_view list, std::string_view name) {
  for (size_t at = list.find(name, 1); at != std::string_view::npos; at = list.find(name, at + 1)) {
    const size_t end = at + name.size();
    if (end >= list.size()) return false;
    if (list[at - 1] == '|' && list[end] == '|') return true;
  }
  return false;
}

// Whether name occurs anywhere in list.
constexpr bool ListHasBare(std::string_view list, std::string_view name) {
  return list.find(name) != std::string_view::npos;
}

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_XHTML_NAME_LISTS_H_
