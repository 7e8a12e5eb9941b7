#pragma once
// What the process table of macOS uses of <sys/sysctl.h>, for systems without that header: the fields that it
// reads, where they lie on a 64-bit Mac, and a kernel that knows no process.
#include <sys/types.h>

#include <cerrno>
#include <cstddef>

enum { CTL_KERN = 1, KERN_PROC = 14, KERN_PROC_PID = 1 };

struct extern_proc {
  char before[243];
  char p_comm[17];
  char after[36];
};

struct kinfo_proc {
  extern_proc kp_proc;
  struct eproc {
    char before[264];
    pid_t e_ppid;
    char after[84];
  } kp_eproc;
};

extern "C" inline int sysctl(int*, unsigned, void*, std::size_t*, void*, std::size_t) {
  errno = ENOTSUP;
  return -1;
}
