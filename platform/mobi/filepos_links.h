#ifndef KAV_EPUB_PLATFORM_MOBI_FILEPOS_LINKS_H_
#define KAV_EPUB_PLATFORM_MOBI_FILEPOS_LINKS_H_

#include <mobi.h>
#include <stddef.h>
#include <stdint.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace kavmobi {

// A MOBI 6 book's links name text positions ("filepos") and picture records
// ("recindex"). libmobi rewrites them into href="#0000001126" and
// src="resource00000.gif" and puts <a id="0000001126"></a> at each target,
// searching the text byte by byte once per link. These functions make the
// same bytes in two linear passes.

// The rewritten markup of text, given the targets that come from elsewhere
// (the NCX) and the file extension of picture record number uid. False when
// a target falls inside a rewritten attribute or past the text, which fails
// libmobi's rebuild.
bool RewriteFileposLinks(std::string_view text, std::vector<uint32_t> targets,
                         const std::function<std::string(size_t uid)>& extension, std::string* out);

// mobi_parse_rawml_opt(*rawml, m, parseToc, false, true) of a MOBI 6 book,
// the same parts and result code, without libmobi's rebuild: the text is
// parsed as it stands, and its links rewritten as above. A book whose OPF
// and NCX libmobi might not build (or a CP-1252 one, whose text libmobi
// converts after the rebuild) is left to libmobi, in a new *rawml.
MOBI_RET ParseMobi6Rawml(MOBIRawml** rawml, const MOBIData* m, bool parseToc);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_FILEPOS_LINKS_H_
