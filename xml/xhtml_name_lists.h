// The name lists the XHTML repair decides by. Each is one literal string of
// names between vertical bars; membership is a case-sensitive substring test,
// either of the bare name or of the name framed by bars, as each rule says.
#ifndef KAV_EPUB_XML_XHTML_NAME_LISTS_H_
#define KAV_EPUB_XML_XHTML_NAME_LISTS_H_

#include <string>

namespace kav_xml {

// Element names kept as they are. Tested with the bare name, so any part of
// a listed name ("b", "tml", "ody") passes too.
constexpr char kAllowedNames[] =
    "|body|head|html|title|abbr|acronym|address|blockquote|br|cite|code|dfn|div|em|h1|h2|h3|h4|"
    "h5|h6|kbd|p|pre|q|samp|span|strong|var|a|dl|dt|dd|ol|ul|li|param|b|big|hr|i|small|sub|sup|"
    "tt|del|ins|bdo|caption|col|colgroup|table|tbody|td|tfoot|th|thead|tr|img|area|map|meta|"
    "link|base|text|";

// Block-level names: an unknown one becomes a div, and the body keeps such
// children unwrapped.
constexpr char kBlockNames[] =
    "|address|blockquote|center|dir|div|dl|fieldset|form|h1|h2|h3|h4|h5|h6|hr|isindex|menu|"
    "noframes|noscript|ol|p|pre|table|ul|dd|dt|frameset|li|tbody|td|tfoot|th|thead|tr|applet|"
    "button|del|iframe|ins|map|object|script|";

// Elements whose children are list items, rows or columns, never loose
// inline content.
constexpr char kListContainerNames[] = "|ul|dl|tr|tbody|tfoot|thead|colgroup|ol|menu|dir|";

// Elements that belong in the head and are dropped from the body.
constexpr char kHeadOnlyNames[] = "|title|meta|base|link|style|";

// On-event attributes. Tested with the bare name.
constexpr char kEventAttributeNames[] =
    "|onclick|ondblclick|onmousedown|onmouseup|onmouseover|onmousemove|onmouseout|onkeypress|"
    "onkeydown|onkeyup|";

// Picture file extensions a page may show.
constexpr char kImageExtensions[] = "|.jpeg|.jpg|.png|.gif|";

// Whether "|" + name + "|" occurs in list.
inline bool ListHasFramed(const char* list, const std::string& name) {
  return std::string(list).find("|" + name + "|") != std::string::npos;
}

// Whether name occurs anywhere in list.
inline bool ListHasBare(const char* list, const std::string& name) {
  return std::string(list).find(name) != std::string::npos;
}

}  // namespace kav_xml

#endif  // KAV_EPUB_XML_XHTML_NAME_LISTS_H_
