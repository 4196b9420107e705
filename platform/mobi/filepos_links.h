#ifndef KAV_EPUB_PLATFORM_MOBI_FILEPOS_LINKS_H_
#define KAV_EPUB_PLATFORM_MOBI_FILEPOS_LINKS_H_

#include <mobi.h>

namespace kavmobi {

// A MOBI 6 book's links name text positions ("filepos") and picture records
// ("recindex"). libmobi rewrites them into href="#0000001126" and
// src="resource00000.gif" and puts <a id="0000001126"></a> at each target,
// searching the text byte by byte once per link.
//
// mobi_parse_rawml_opt(*rawml, m, parseToc, false, true) of a MOBI 6 book:
// the same parts and result code, but the text parsed as it stands and its
// links rewritten here in two linear passes (one finds the targets and the
// attributes, one writes the text); MOBI_MALLOC_FAILED, as from libmobi, for
// a target inside a rewritten attribute or past the text. A book whose OPF
// and NCX libmobi might not build (or a CP-1252 one, whose text libmobi
// converts after its rebuild) is left to libmobi, in a new *rawml.
MOBI_RET ParseMobi6Rawml(MOBIRawml** rawml, const MOBIData* m, bool parseToc);

}  // namespace kavmobi

#endif  // KAV_EPUB_PLATFORM_MOBI_FILEPOS_LINKS_H_
