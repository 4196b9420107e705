// META-INF/container.xml: points reading systems at OEBPS/content.opf.

#include "fileutil/file_util.h"
#include "package/attr_chain.h"
#include "package/xml_file.h"
#include "service/kav_result.h"
#include "xml/xml_base.h"

unsigned int XMLFile::GenerateContainerFile(const char* path) {
  // A document of its own: the object's members are not involved. It is
  // released on every return.
  XMLBase container;
  // The page initialisation on purpose, so the file carries the html
  // document type like every other document of the book.
  unsigned int result = container.Init();
  if (result != KAV_OK) return result;

  AttrChain root;
  root.Add("version", "1.0").Add("xmlns", "urn:oasis:names:tc:opendocument:xmlns:container");
  container.AddXMLNode(nullptr, "container", root.head());
  container.AddXMLNode("container", "rootfiles", nullptr);
  AttrChain rootfile;
  rootfile.Add("full-path", "OEBPS/content.opf").Add("media-type", "application/oebps-package+xml");
  container.AddXMLNode("rootfiles", "rootfile", rootfile.head());

  CreateFile(path);
  return container.SaveFile(path);
}
