#include "package/xml_file.h"

#include "xml/xml_base.h"

// navOrder is left alone: InitNcxFile sets it, and nothing reads it before.
XMLFile::XMLFile() : opfDoc(nullptr), ncxDoc(nullptr), pageDoc(nullptr), recordCount(0) {}

XMLFile::~XMLFile() {
  delete opfDoc;
  delete ncxDoc;
  delete pageDoc;
}

void XMLFile::Destory() {
  delete opfDoc;
  delete ncxDoc;
  delete pageDoc;
}
