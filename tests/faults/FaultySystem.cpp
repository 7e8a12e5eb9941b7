#include "tests/faults/FaultySystem.hpp"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#if defined(__linux__)
#include <sys/random.h>
#endif

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <stdexcept>
#include <utility>

// The functions below have names of their own, because the C library's names are declared already. The
// assembler gives them the C library's symbols.
#if defined(__APPLE__)
#define TAVRIN_SYMBOL(name) __asm__("_" name)
#else
#define TAVRIN_SYMBOL(name) __asm__(name)
#endif

namespace tavrin::test {

namespace {

thread_local FaultySystem::Decision* decision = nullptr;

// Calls that a decision makes itself are not decided on.
Answer answerTo(std::string_view call) {
  FaultySystem::Decision* const asked = std::exchange(decision, nullptr);
  if (asked == nullptr) return {};
  const Answer answer = (*asked)(call);
  decision = asked;
  return answer;
}

// The C library's function of this name.
template <class Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

// Makes a call, or makes it fail with `failure`.
template <class Function, class Result, class... Arguments>
Result decided(const char* name, Result failure, Arguments... arguments) {
  static Function* const function = real<Function>(name);
  const Answer answer = answerTo(name);
  if (answer.error == 0) return function(arguments...);
  errno = answer.error;
  return failure;
}

}  // namespace

FaultySystem::FaultySystem(Decision decide) : decide_(std::move(decide)) {
  if (decision != nullptr) throw std::logic_error("there is one already");
  decision = &decide_;
}

FaultySystem::~FaultySystem() {
  decision = nullptr;
}

extern "C" {

int decidedOpen(const char* path, int flags, ...) TAVRIN_SYMBOL("open");
int decidedClose(int descriptor) TAVRIN_SYMBOL("close");
int decidedFlock(int descriptor, int operation) TAVRIN_SYMBOL("flock");
ssize_t decidedRead(int descriptor, void* bytes, std::size_t size) TAVRIN_SYMBOL("read");
ssize_t decidedWrite(int descriptor, const void* bytes, std::size_t size) TAVRIN_SYMBOL("write");
int decidedRename(const char* from, const char* to) TAVRIN_SYMBOL("rename");
int decidedUnlink(const char* path) TAVRIN_SYMBOL("unlink");
int decidedMkdir(const char* path, mode_t mode) TAVRIN_SYMBOL("mkdir");
int decidedAccess(const char* path, int mode) TAVRIN_SYMBOL("access");
int decidedStat(const char* path, struct stat* status) TAVRIN_SYMBOL("stat");
int decidedFstat(int descriptor, struct stat* status) TAVRIN_SYMBOL("fstat");
int decidedLstat(const char* path, struct stat* status) TAVRIN_SYMBOL("lstat");
DIR* decidedOpendir(const char* path) TAVRIN_SYMBOL("opendir");
dirent* decidedReaddir(DIR* directory) TAVRIN_SYMBOL("readdir");

int decidedOpen(const char* path, int flags, ...) {
  using Function = int(const char*, int, ...);
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    std::va_list arguments;
    va_start(arguments, flags);
    mode = static_cast<mode_t>(va_arg(arguments, int));
    va_end(arguments);
  }
  return decided<Function>("open", -1, path, flags, mode);
}

int decidedClose(int descriptor) {
  static auto* const function = real<int(int)>("close");
  const Answer answer = answerTo("close");
  const int result = function(descriptor);
  if (answer.error == 0) return result;
  errno = answer.error;
  return -1;
}

int decidedFlock(int descriptor, int operation) {
  return decided<int(int, int)>("flock", -1, descriptor, operation);
}

ssize_t decidedRead(int descriptor, void* bytes, std::size_t size) {
  static auto* const function = real<ssize_t(int, void*, std::size_t)>("read");
  const Answer answer = answerTo("read");
  if (answer.error == 0) return function(descriptor, bytes, std::min(size, answer.mostBytes));
  errno = answer.error;
  return -1;
}

ssize_t decidedWrite(int descriptor, const void* bytes, std::size_t size) {
  static auto* const function = real<ssize_t(int, const void*, std::size_t)>("write");
  const Answer answer = answerTo("write");
  if (answer.error == 0) return function(descriptor, bytes, std::min(size, answer.mostBytes));
  errno = answer.error;
  return -1;
}

int decidedRename(const char* from, const char* to) {
  return decided<int(const char*, const char*)>("rename", -1, from, to);
}

int decidedUnlink(const char* path) {
  return decided<int(const char*)>("unlink", -1, path);
}

int decidedMkdir(const char* path, mode_t mode) {
  return decided<int(const char*, mode_t)>("mkdir", -1, path, mode);
}

int decidedAccess(const char* path, int mode) {
  return decided<int(const char*, int)>("access", -1, path, mode);
}

int decidedStat(const char* path, struct stat* status) {
  return decided<int(const char*, struct stat*)>("stat", -1, path, status);
}

int decidedFstat(int descriptor, struct stat* status) {
  return decided<int(int, struct stat*)>("fstat", -1, descriptor, status);
}

int decidedLstat(const char* path, struct stat* status) {
  return decided<int(const char*, struct stat*)>("lstat", -1, path, status);
}

DIR* decidedOpendir(const char* path) {
  return decided<DIR*(const char*)>("opendir", static_cast<DIR*>(nullptr), path);
}

dirent* decidedReaddir(DIR* directory) {
  return decided<dirent*(DIR*)>("readdir", static_cast<dirent*>(nullptr), directory);
}

#if defined(__linux__)
ssize_t decidedGetrandom(void* bytes, std::size_t size, unsigned flags) TAVRIN_SYMBOL("getrandom");

ssize_t decidedGetrandom(void* bytes, std::size_t size, unsigned flags) {
  return decided<ssize_t(void*, std::size_t, unsigned)>("getrandom", ssize_t{-1}, bytes, size, flags);
}
#endif

}  // extern "C"

}  // namespace tavrin::test
