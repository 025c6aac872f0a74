// Preloaded into a program: kills its whole process group before one of the calls that give, take, keep or change names
// and rights, the number of which is in KILL_BEFORE, from 1. Each process counts its own.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdlib.h>
#include <sys/stat.h>

static void Count(void) {
  static atomic_int count;
  const char* number = getenv("KILL_BEFORE");
  if (number != NULL && ++count == atoi(number)) kill(0, SIGKILL);
}

#define COUNTED(name, parameters, arguments)                            \
  int name parameters {                                                 \
    Count();                                                            \
    int(*next) parameters = (int(*) parameters)dlsym(RTLD_NEXT, #name); \
    return next arguments;                                              \
  }

COUNTED(rename, (const char* from, const char* to), (from, to))
COUNTED(renameat2, (int a, const char* from, int b, const char* to, unsigned flags), (a, from, b, to, flags))
COUNTED(link, (const char* from, const char* to), (from, to))
COUNTED(unlink, (const char* path), (path))
COUNTED(chmod, (const char* path, mode_t mode), (path, mode))
COUNTED(fsync, (int file), (file))
