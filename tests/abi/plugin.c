/* Loaded and unloaded over and over, as front ends load a plug-in. Usage: plugin LIBRARY SYMBOL... */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  for (int round = 0; round < 100; round++) {
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
      fprintf(stderr, "%s\n", dlerror());
      return 1;
    }
    int (*version)(int64_t*, int64_t*) = NULL;
    for (int i = 2; i < argc; i++) {
      void* symbol = dlsym(library, argv[i]);
      if (symbol == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
      }
      if (strcmp(argv[i], "GetZEP3Version") == 0) memcpy(&version, &symbol, sizeof version);
    }
    int64_t major = 0;
    int64_t minor = 0;
    if (version == NULL || version(&major, &minor) != 1 || major != 3 || minor != 9) return 1;
    dlclose(library);
    /* What cannot be unloaded, by a unique symbol or a thread's storage, stays with the front end for good. */
    if (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != NULL) {
      fprintf(stderr, "%s stays loaded\n", argv[1]);
      return 1;
    }
  }
  return 0;
}
