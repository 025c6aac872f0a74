// Preloaded into a program: breaks one of its calls to the system. Each process counts its own. By the environment:
//   BREAK_CALLS  the functions that are counted, with blanks between
//   BREAK_IN     only calls count with a path that holds this, or with a descriptor of such a file that may be written;
//                fsync counts with such a folder, too
//   BREAK_AT     the number of the call that breaks, from 1
//   BREAK_HOW    how it breaks, see below
//   BREAK_ON     set: all that follow break, too
//   BREAK_TOLD   a file that comes into being when a call breaks
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

static const char* Setting(const char* name) {
  const char* value = getenv(name);
  return value == NULL ? "" : value;
}

static int IsNamed(const char* call) {
  const char* at = strstr(Setting("BREAK_CALLS"), call);
  const size_t length = strlen(call);
  for (; at != NULL; at = strstr(at + length, call)) {
    if ((at == Setting("BREAK_CALLS") || at[-1] == ' ') && (at[length] == ' ' || at[length] == 0)) return 1;
  }
  return 0;
}

static int IsMeant(const char* call, const char* path, int file) {
  const char* in = Setting("BREAK_IN");
  if (*in == 0) return 1;
  if (path != NULL) return strstr(path, in) != NULL;
  char link[32], name[PATH_MAX + 2];
  struct stat status;
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  const ssize_t size = readlink(link, name, PATH_MAX);
  if (size < 0 || fstat(file, &status) != 0) return 0;
  memcpy(name + size, "/", 2); // folders are named without it
  if (strstr(name, in) == NULL) return 0;
  if (S_ISDIR(status.st_mode)) return strcmp(call, "fsync") == 0;
  return S_ISREG(status.st_mode) && (fcntl(file, F_GETFL) & O_ACCMODE) != O_RDONLY;
}

// Whether the call breaks.
static int IsBroken(const char* call, const char* path, int file) {
  static atomic_int count;
  if (!IsNamed(call) || !IsMeant(call, path, file)) return 0;
  const int number = ++count, at = atoi(Setting("BREAK_AT"));
  if (number < at || (number > at && *Setting("BREAK_ON") == 0)) return 0;
  if (*Setting("BREAK_TOLD") != 0) {
    const int told = (int)syscall(SYS_openat, AT_FDCWD, Setting("BREAK_TOLD"), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    syscall(SYS_close, told);
  }
  if (strcmp(Setting("BREAK_HOW"), "kill") == 0) kill(0, SIGKILL); // its whole process group
  // swap FILE: this comes in place of what is about to be opened.
  if (strncmp(Setting("BREAK_HOW"), "swap ", 5) == 0) {
    syscall(SYS_renameat2, AT_FDCWD, Setting("BREAK_HOW") + 5, AT_FDCWD, path, 0);
    return 0;
  }
  return 1;
}

// "ENOSPC", "EIO": the call fails.
static int Fault(void) {
  errno = strcmp(Setting("BREAK_HOW"), "EIO") == 0 ? EIO : ENOSPC;
  return -1;
}

// "short": half of it is written.
static size_t Half(size_t size) { return strcmp(Setting("BREAK_HOW"), "short") != 0 ? 0 : size > 1 ? size / 2 : size; }

#define NEXT(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

// What a call with a path gives.
#define WITH_PATH(name, parameters, arguments, path) \
  int name parameters { return IsBroken(#name, path, -1) ? Fault() : NEXT(name) arguments; }

WITH_PATH(rename, (const char* from, const char* to), (from, to), to)
WITH_PATH(renameat2, (int a, const char* from, int b, const char* to, unsigned flags), (a, from, b, to, flags), to)
WITH_PATH(link, (const char* from, const char* to), (from, to), to)
WITH_PATH(unlink, (const char* path), (path), path)
WITH_PATH(chmod, (const char* path, mode_t mode), (path, mode), path)

#define WRITES(name, parameters, arguments, size) \
  ssize_t name parameters {                       \
    if (IsBroken(#name, NULL, file)) {            \
      if (Half(size) == 0) return Fault();        \
      size = Half(size);                          \
    }                                             \
    return NEXT(name) arguments;                  \
  }

WRITES(write, (int file, const void* bytes, size_t size), (file, bytes, size), size)
WRITES(pwrite, (int file, const void* bytes, size_t size, off_t at), (file, bytes, size, at), size)
WRITES(pwrite64, (int file, const void* bytes, size_t size, off64_t at), (file, bytes, size, at), size)

ssize_t writev(int file, const struct iovec* parts, int count) {
  return IsBroken("writev", NULL, file) ? Fault() : NEXT(writev)(file, parts, count);
}

// What was written and not yet on the disk is lost.
static int Lose(int file) {
  struct stat status;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode)) (void)!ftruncate(file, status.st_size / 2);
  return Fault();
}

int fsync(int file) { return IsBroken("fsync", NULL, file) ? Lose(file) : NEXT(fsync)(file); }

int close(int file) {
  if (!IsBroken("close", NULL, file)) return NEXT(close)(file);
  Lose(file);
  NEXT(close)(file);
  return Fault();
}

#define OPENS(name)                                \
  int name(const char* path, int flags, ...) {     \
    va_list rest;                                  \
    va_start(rest, flags);                         \
    const mode_t mode = va_arg(rest, mode_t);      \
    va_end(rest);                                  \
    if (IsBroken(#name, path, -1)) return Fault(); \
    return NEXT(name)(path, flags, mode);          \
  }

OPENS(open)
OPENS(open64)

#define OPENS_STREAM(name)                                         \
  FILE* name(const char* path, const char* mode) {                 \
    if (!IsBroken(#name, path, -1)) return NEXT(name)(path, mode); \
    Fault();                                                       \
    return NULL;                                                   \
  }

OPENS_STREAM(fopen)
OPENS_STREAM(fopen64)
