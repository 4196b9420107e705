#ifndef KAV_EPUB_CLI_RESULT_MESSAGES_H_
#define KAV_EPUB_CLI_RESULT_MESSAGES_H_

namespace kavcli {

// The one place where result codes become words: a short sentence for every
// code that the library or its companions can return, or null for a code
// that has none.
const char* ResultMessage(int code);

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_RESULT_MESSAGES_H_
