#pragma once

// Part of Tavrin::Core. Needs POSIX, the Objective-C runtime and the standard library.

#include <objc/runtime.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>

#include "TavrinCore/Context/ProcessTree.hpp"

namespace tavrin {

/// The calls to macOS that its process table needs, each as macOS declares it.
struct MacCalls {
  // The kernel: sysctl(3), <libproc.h>, devname(3).
  std::function<int(int* name, unsigned nameLength, void* value, std::size_t* size, void* newValue,
                    std::size_t newSize)>
      sysctl;
  std::function<int(int pid, void* buffer, std::uint32_t size)> procName;
  std::function<int(int pid, int flavor, std::uint64_t argument, void* buffer, int size)> procPidinfo;
  std::function<char*(dev_t device, mode_t type)> devname;

  // dlopen(3), and the Objective-C runtime.
  std::function<void*(const char* path, int mode)> dlopen;
  std::function<id(const char* name)> classNamed;
  std::function<SEL(const char* name)> selectorNamed;
  std::function<bool(id receiver, SEL selector)> respondsTo;  ///< a class is a receiver like any other
  std::function<void*()> pushAutoreleasePool;
  std::function<void(void* pool)> popAutoreleasePool;

  // Sends a message. There is one function for each type of method that is called.
  std::function<id(id receiver, SEL selector, pid_t argument)> objectByPid;
  std::function<id(id receiver, SEL selector)> object;
  std::function<long(id receiver, SEL selector)> integer;
  std::function<const char*(id receiver, SEL selector)> text;

  /// The real calls.
  static MacCalls ofThisSystem();
};

/// The process table that uses these calls. The first look-up of an application loads AppKit. So a run that
/// looks up no host saves the time for loading it. During a look-up, the standard error of the whole process
/// leads to /dev/null. If that cannot be opened, no application is found.
ProcessTable processTableOf(const MacCalls& calls);

}  // namespace tavrin
