/* Loads a shared library and looks up one symbol in it: exit 0 when both
   work, else 1 with the loader's message on stderr. Linked against nothing
   of the project, so the library must find its own dependencies. */
#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv) {
  void* library = argc == 3 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  if (library == NULL || dlsym(library, argv[2]) == NULL) {
    fprintf(stderr, "%s\n", argc == 3 ? dlerror() : "usage: probe LIBRARY SYMBOL");
    return 1;
  }
  return dlclose(library) == 0 ? 0 : 1;
}
