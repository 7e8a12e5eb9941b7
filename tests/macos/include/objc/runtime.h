#pragma once
// What the process table of macOS uses of the Objective-C runtime's <objc/runtime.h>, for systems without
// that header: a runtime without classes.

using id = struct objc_object*;
using Class = struct objc_class*;
using SEL = struct objc_selector*;
using BOOL = signed char;

extern "C" {
inline Class objc_getClass(const char*) {
  return nullptr;
}

inline SEL sel_registerName(const char*) {
  return nullptr;
}
}
