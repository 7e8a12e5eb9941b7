// machrun runs one slice of a macOS executable on Linux: machrun FILE [ARGUMENT...]. It maps the file's
// segments, applies its rebase and bind opcodes, runs its initializers and calls its main. The functions that
// the file imports from macOS's libraries are given to it over glibc and /proc, with macOS's structures,
// numbers and error texts. Bytes that the caller must not read are filled with 0xAA. C++ exceptions go
// through LLVM's libunwind and the file's own unwind tables.
//
// It cannot show what the real kernel, linker and frameworks check or take in time.
//
//   MACHRUN_TRACE=1             prints each call on standard error
//   MACHRUN_CALLS=FILE          writes how often each import was called, as "COUNT NAME"
//   MACHRUN_FAIL=NAME@N         lets the Nth call of an import fail, with an error that it can have
//   MACHRUN_APPS=NAME=ID,...    makes processes applications, by their names, with bundle identifiers.
//                               "?" before an identifier: not a regular application; "-": no identifier
//   MACHRUN_NAMES=NAME=NEW,...  gives processes other names than Linux has for their threads, such as
//                               longer ones
//   MACHRUN_APPKIT=missing      AppKit cannot be loaded
//   MACHRUN_APPKIT=loud         AppKit prints on standard error when it is loaded, and at each message
//   MACHRUN_INPUT=late          standard input has nothing to read the first time
//   MACHRUN_HOME=DIRECTORY      is every user's home directory in the user database
//   MACHRUN_PTS=1               terminals have the names that they have on Linux
//
// "machrun --imports FILE" prints how each import can fail, as "KIND NAME". Where machrun itself fails, the
// status is 99.
#pragma once
#include <errno.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

#if defined(__x86_64__)
#define CPU_TYPE 0x01000007u
#define CPU_NAME "x86_64"
#elif defined(__aarch64__)
#define CPU_TYPE 0x0100000Cu
#define CPU_NAME "arm64"
#else
#error "machrun knows x86_64 and arm64"
#endif

extern int isTraced;
#define TRACE(...)                              \
  do {                                          \
    if (isTraced) {                             \
      fprintf(stderr, "machrun: " __VA_ARGS__); \
      fputc('\n', stderr);                      \
    }                                           \
  } while (0)
#define DIE(...)                              \
  do {                                        \
    fprintf(stderr, "machrun: " __VA_ARGS__); \
    fputc('\n', stderr);                      \
    _exit(99);                                \
  } while (0)

// What errno is for the file.
extern _Thread_local int macErrno;
// Sets macErrno to macOS's number for errno.
void takeErrno(void);
int macErrorNumber(int error);
#define CHECKED(call)                                    \
  ({                                                     \
    __typeof__(call) result_ = (call);                   \
    if (result_ == (__typeof__(result_))-1) takeErrno(); \
    result_;                                             \
  })

// How a call fails that is made to fail.
enum Failure {
  UNKNOWN,    // nobody has decided it
  NEVER,      // it cannot, or the program would have to be wrong
  MINUS_ONE,  // it returns -1, with EIO
  NOTHING,    // it returns a null pointer or zero, with ENOMEM
  NUMBER,     // it returns EINVAL
};
struct Import {
  const char* name;
  void* address;
  enum Failure failure;
};
// Each part's imports. The last entry has no name.
extern const struct Import memoryImports[], fileImports[], processImports[], desktopImports[], textImports[],
    unwindImports[];

// The address of an import for the file, given its name with the underscore.
void* bindImport(const char* name);
enum Failure failureOf(const char* name);
// exit(3) for the file.
void endCleanly(int status) __attribute__((noreturn));
// Writes the counts that MACHRUN_CALLS asks for.
void writeCalls(void);

// Looks for NAME in the list "NAME=VALUE,..." in an environment variable. Returns whether it is there.
int findInList(const char* variable, const char* name, char* value, size_t size);
// The path of the file that runs.
extern const char* executable;
// Writes the name of a process as macOS has it. Returns false if there is no such process.
int nameOfProcess(int pid, char* name, size_t size);

// The unwind tables of the file, for _dyld_find_unwind_sections.
struct UnwindSections {
  const void* header;
  const void* dwarf;
  uintptr_t dwarfSize;
  const void* compact;
  uintptr_t compactSize;
};
extern struct UnwindSections unwinding;
extern uintptr_t imageStart, imageEnd;
