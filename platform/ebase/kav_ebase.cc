#include "platform/ebase/kav_ebase.h"

// Placeholder until the packer lands.
int Kav_CreateEpubFromDir(const char*, const char*) { return 1; }
