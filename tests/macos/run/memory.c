// Memory, time and errors, and what the C library needs before main.
#include <pthread.h>
#include <signal.h>
#include <strings.h>
#include <sys/syscall.h>
#include <time.h>

#include "machrun.h"

_Thread_local int macErrno;

struct Error {
  int here, mac;
  const char* text;
};
static const struct Error errors[] = {{EPERM, 1, "Operation not permitted"},
                                      {ENOENT, 2, "No such file or directory"},
                                      {ESRCH, 3, "No such process"},
                                      {EINTR, 4, "Interrupted system call"},
                                      {EIO, 5, "Input/output error"},
                                      {ENXIO, 6, "Device not configured"},
                                      {E2BIG, 7, "Argument list too long"},
                                      {ENOEXEC, 8, "Exec format error"},
                                      {EBADF, 9, "Bad file descriptor"},
                                      {ECHILD, 10, "No child processes"},
                                      {EDEADLK, 11, "Resource deadlock avoided"},
                                      {ENOMEM, 12, "Cannot allocate memory"},
                                      {EACCES, 13, "Permission denied"},
                                      {EFAULT, 14, "Bad address"},
                                      {EBUSY, 16, "Resource busy"},
                                      {EEXIST, 17, "File exists"},
                                      {EXDEV, 18, "Cross-device link"},
                                      {ENODEV, 19, "Operation not supported by device"},
                                      {ENOTDIR, 20, "Not a directory"},
                                      {EISDIR, 21, "Is a directory"},
                                      {EINVAL, 22, "Invalid argument"},
                                      {ENFILE, 23, "Too many open files in system"},
                                      {EMFILE, 24, "Too many open files"},
                                      {ENOTTY, 25, "Inappropriate ioctl for device"},
                                      {ETXTBSY, 26, "Text file busy"},
                                      {EFBIG, 27, "File too large"},
                                      {ENOSPC, 28, "No space left on device"},
                                      {ESPIPE, 29, "Illegal seek"},
                                      {EROFS, 30, "Read-only file system"},
                                      {EMLINK, 31, "Too many links"},
                                      {EPIPE, 32, "Broken pipe"},
                                      {EDOM, 33, "Numerical argument out of domain"},
                                      {ERANGE, 34, "Result too large"},
                                      {EAGAIN, 35, "Resource temporarily unavailable"},
                                      {ENOTSUP, 45, "Operation not supported"},
                                      {ECONNREFUSED, 61, "Connection refused"},
                                      {ELOOP, 62, "Too many levels of symbolic links"},
                                      {ENAMETOOLONG, 63, "File name too long"},
                                      {ENOTEMPTY, 66, "Directory not empty"},
                                      {EDQUOT, 69, "Disc quota exceeded"},
                                      {ESTALE, 70, "Stale NFS file handle"},
                                      {ENOLCK, 77, "No locks available"},
                                      {ENOSYS, 78, "Function not implemented"},
                                      {EOVERFLOW, 84, "Value too large to be stored in data type"},
                                      {EILSEQ, 92, "Illegal byte sequence"}};

int macErrorNumber(int error) {
  for (size_t i = 0; i < sizeof errors / sizeof *errors; ++i) {
    if (errors[i].here == error) return errors[i].mac;
  }
  DIE("errno %d has no number here", error);
}

void takeErrno(void) {
  macErrno = macErrorNumber(errno);
}

static int* error(void) {
  return &macErrno;
}

static int describe(int code, char* buffer, size_t size) {
  for (size_t i = 0; i < sizeof errors / sizeof *errors; ++i) {
    if (errors[i].mac != code) continue;
    snprintf(buffer, size, "%s", errors[i].text);
    return 0;
  }
  snprintf(buffer, size, "Unknown error: %d", code);
  return 22;
}

static char* described(int code) {
  static char buffer[100];
  describe(code, buffer, sizeof buffer);
  return buffer;
}

static int getClock(int clock, struct timespec* time) {
  if (clock != 0 && clock != 6) DIE("clock %d is not known", clock);
  return CHECKED(clock_gettime(clock == 0 ? CLOCK_REALTIME : CLOCK_MONOTONIC, time));
}

static int getEntropy(void* bytes, size_t count) {
  return CHECKED(syscall(SYS_getrandom, bytes, count, 0) == (long)count ? 0 : -1);
}

static void end(int status) {
  TRACE("_exit %d", status);
  writeCalls();
  _exit(status);
}

static struct {
  void (*function)(void*);
  void* argument;
} exitFunctions[256];
static int exitCount;

static int addExitFunction(void (*function)(void*), void* argument) {
  if (exitCount == sizeof exitFunctions / sizeof *exitFunctions)
    DIE("there are too many functions to call at exit");
  exitFunctions[exitCount].function = function;
  exitFunctions[exitCount++].argument = argument;
  return 0;
}

void endCleanly(int status) {
  TRACE("exit %d", status);
  while (exitCount > 0) {
    --exitCount;
    exitFunctions[exitCount].function(exitFunctions[exitCount].argument);
  }
  writeCalls();
  fflush(NULL);
  _exit(status);
}

// SIGPIPE and SIGXFSZ, which are ignored, have the same numbers on both systems.
static void* setSignal(int number, void* handler) {
  if (handler != (void*)1 || (number != SIGPIPE && number != SIGXFSZ))
    DIE("signal %d gets a handler", number);
  return (void*)signal(number, SIG_IGN);
}

static int succeed(void) {
  return 0;
}

static void* thisThread(void) {
  return (void*)1;
}

static uint32_t machThread(void* thread) {
  (void)thread;
  return 0x103;
}

struct Once {
  int64_t signature;
  char done[8];
};
static int once(struct Once* control, void (*routine)(void)) {
  if (control->signature != 0x30B1BCBA && control->signature != 0)
    DIE("pthread_once without its initial value");
  if (!control->done[0]) {
    control->done[0] = 1;
    routine();
  }
  return 0;
}

static void* values[64];
static uint64_t keys = 1;

static int createKey(uint64_t* key, void* destructor) {
  (void)destructor;
  if (keys == sizeof values / sizeof *values) DIE("too many keys");
  *key = keys++;
  return 0;
}

static void* getValue(uint64_t key) {
  return values[key];
}

static int setValue(uint64_t key, void* value) {
  values[key] = value;
  return 0;
}

static uint8_t isAvailable(uint32_t count, void* versions) {
  (void)count;
  (void)versions;
  return 1;
}

static void bindLazily(void) {
  DIE("dyld_stub_binder is called, though everything is bound");
}

const struct Import memoryImports[] = {{"dyld_stub_binder", (void*)bindLazily, NEVER},
                                       {"___cxa_atexit", (void*)addExitFunction, NEVER},
                                       {"___error", (void*)error, NEVER},
                                       {"__availability_version_check", (void*)isAvailable, NEVER},
                                       {"__exit", (void*)end, NEVER},
                                       {"_exit", (void*)endCleanly, NEVER},
                                       {"_abort", (void*)abort, NEVER},
                                       {"_aligned_alloc", (void*)aligned_alloc, NOTHING},
                                       {"_posix_memalign", (void*)posix_memalign, NUMBER},
                                       {"_bzero", (void*)bzero, NEVER},
                                       {"___bzero", (void*)bzero, NEVER},
                                       {"_calloc", (void*)calloc, NOTHING},
                                       {"_clock_gettime", (void*)getClock, MINUS_ONE},
                                       {"_free", (void*)free, NEVER},
                                       {"_getentropy", (void*)getEntropy, MINUS_ONE},
                                       {"_getenv", (void*)getenv, NOTHING},
                                       {"_malloc", (void*)malloc, NOTHING},
                                       {"_realloc", (void*)realloc, NOTHING},
                                       {"_pthread_cond_broadcast", (void*)succeed, NEVER},
                                       {"_pthread_cond_wait", (void*)succeed, NEVER},
                                       {"_pthread_getspecific", (void*)getValue, NEVER},
                                       {"_pthread_key_create", (void*)createKey, NEVER},
                                       {"_pthread_mach_thread_np", (void*)machThread, NEVER},
                                       {"_pthread_mutex_destroy", (void*)succeed, NEVER},
                                       {"_pthread_mutex_lock", (void*)succeed, NEVER},
                                       {"_pthread_mutex_unlock", (void*)succeed, NEVER},
                                       {"_pthread_once", (void*)once, NEVER},
                                       {"_pthread_self", (void*)thisThread, NEVER},
                                       {"_pthread_setspecific", (void*)setValue, NEVER},
                                       {"_signal", (void*)setSignal, MINUS_ONE},
                                       {"_strerror", (void*)described, NEVER},
                                       {"_strerror_r", (void*)describe, NUMBER},
                                       {"_sys_icache_invalidate", (void*)succeed, NEVER},
                                       {NULL, NULL, UNKNOWN}};
