#pragma once
// What the process table of macOS uses of <libproc.h>, for systems without that header. It knows no process.
#include <sys/proc_info.h>
#include <sys/types.h>

#include <cstdint>

extern "C" {
inline int proc_name(int, void*, std::uint32_t) {
  return 0;
}

inline int proc_pidinfo(int, int, std::uint64_t, void*, int) {
  return 0;
}

// On macOS this is in <stdlib.h>.
inline char* devname(dev_t, mode_t) {
  return nullptr;
}
}
