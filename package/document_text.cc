#include "package/document_text.h"

#include <cstdio>
#include <cstdlib>

#include "platform/tool/kav_tool.h"
#include "xml/xml_base.h"

std::string EscapeAmpersands(const char* text) {
  std::string escaped = text != nullptr ? text : "";
  // Replacing from the end never looks at an inserted "&amp;" again.
  XMLBase::ReplaceString(escaped, "&", 1, "&amp;");
  return escaped;
}

std::string TimeIdentifier() {
  char* now = KavGetLocalCurrentTime("%Y%m%d%H%M%S", 16);
  char identifier[256] = {};
  // Without a clock reading the identifier keeps its prefix and no digits.
  std::snprintf(identifier, sizeof(identifier), "urn:uuid:id_%s", now != nullptr ? now : "");
  std::free(now);
  return identifier;
}
