#include "platform/mobi/resource_writer.h"

#include <stdio.h>

#include "platform/mobi/file_writer.h"
#include "platform/mobi/kav_mobi.h"

namespace kavmobi {

std::string ImageFileName(const MOBIPart& resource) {
  // Fonts, media and the NCX/OPF that libmobi generates are not pictures.
  if (resource.type != T_JPG && resource.type != T_GIF && resource.type != T_PNG &&
      resource.type != T_BMP) {
    return std::string();
  }
  char name[64];
  snprintf(name, sizeof name, "resource%05zu.%s", resource.uid,
           mobi_get_filemeta_by_type(resource.type).extension);
  return name;
}

int WriteImageResources(const MOBIPart* resources, const std::string& dir) {
  for (const MOBIPart* part = resources; part != nullptr; part = part->next) {
    std::string name = ImageFileName(*part);
    if (name.empty()) continue;
    if (!WriteFileAtomically(dir + name, part->data, part->size)) return KAV_MOBI_ERR_WRITE;
  }
  return 0;
}

}  // namespace kavmobi
