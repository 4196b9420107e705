#ifndef KAV_EPUB_BUILDER_LINE_TEXT_H_
#define KAV_EPUB_BUILDER_LINE_TEXT_H_

#include <string>

// The two halves of EpubBase::LineProc, for the builder's own use: the page
// builder appends a line's text straight to the paragraph it is gathering
// instead of making a copy of every line first. Internal to the builder.
namespace kav_builder {

// Decides whether the non-empty line begins a paragraph (1) or continues
// one (0) and updates the three counters, as LineProc does.
int ClassifyLine(const char* line, int& prevIndent, int& prevLineLen, int& maxLineLen);

// Appends the text the non-empty line contributes to its paragraph: every
// "&" as "&amp;", bytes 0x18 and 0x0C and the last line feed as blanks.
void AppendLineText(std::string& dest, const char* line);

}  // namespace kav_builder

#endif  // KAV_EPUB_BUILDER_LINE_TEXT_H_
