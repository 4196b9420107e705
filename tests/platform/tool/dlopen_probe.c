/* Loads a shared library and looks up one symbol in it: exit 0 when both
   work, else 1 with the loader's message on stderr. Linked against nothing
   of the project, so the library must find its own dependencies. */
#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  int found = dlsym(library, argv[2]) != NULL;
  if (!found) fprintf(stderr, "%s\n", dlerror());
  dlclose(library);
  return found ? 0 : 1;
}
