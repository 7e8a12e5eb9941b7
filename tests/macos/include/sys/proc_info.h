#pragma once
// What the process table of macOS uses of <sys/proc_info.h>, for systems without that header.
#include <cstdint>

enum { PROC_PIDTBSDINFO = 3 };

struct proc_bsdinfo {
  char before[108];
  std::uint32_t e_tdev;
  char after[24];
};
