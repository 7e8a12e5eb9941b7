// Processes: /proc in the structures of macOS's kernel.
#include <fcntl.h>
#include <sys/stat.h>

#include "machrun.h"

struct Process {
  int parent;
  char name[256];
  unsigned terminal;
  uid_t user;
};

enum { NO_DEVICE = -1, TERMINALS = 0x10000000 };  // NODEV, and the number of /dev/ttys000

static int look(int pid, struct Process* process) {
  char path[64], text[1024];
  snprintf(path, sizeof path, "/proc/%d/stat", pid);
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return 0;
  struct stat status;
  fstat(file, &status);
  process->user = status.st_uid;
  const ssize_t size = read(file, text, sizeof text - 1);
  close(file);
  if (size <= 0) return 0;
  text[size] = 0;
  // "PID (NAME) STATE PARENT GROUP SESSION DEVICE ...", and a name may hold anything.
  const char *start = strchr(text, '(') + 1, *end = strrchr(text, ')');
  snprintf(process->name, sizeof process->name, "%.*s", (int)(end - start), start);
  char longName[256], state;
  if (findInList("MACHRUN_NAMES", process->name, longName, sizeof longName)) strcpy(process->name, longName);
  int group, session, device;
  sscanf(end + 2, "%c %d %d %d %d", &state, &process->parent, &group, &session, &device);
  // Pseudo-terminals have the major numbers from 136, with 256 minor numbers each.
  const unsigned major = (unsigned)device >> 8 & 0xfff,
                 minor = ((unsigned)device & 0xff) | ((unsigned)device >> 12 & 0xfff00);
  process->terminal = device == 0 ? (unsigned)NO_DEVICE : TERMINALS | ((major - 136) * 256 + minor);
  return 1;
}

int nameOfProcess(int pid, char* name, size_t size) {
  struct Process process;
  if (!look(pid, &process)) return 0;
  snprintf(name, size, "%s", process.name);
  return 1;
}

// Only the system's administrator learns these of another user's process.
static int isAllowed(const struct Process* process) {
  return geteuid() == 0 || process->user == geteuid();
}

static int controlSystem(int* name, unsigned count, void* value, size_t* size, void* newValue,
                         size_t newSize) {
  enum { RECORD = 648, NAME = 243, NAME_LENGTH = 16, PARENT = 560 };  // struct kinfo_proc of <sys/sysctl.h>
  if (count != 4 || name[0] != 1 || name[1] != 14 || name[2] != 1 || newValue || newSize)
    DIE("sysctl of something else");
  TRACE("sysctl kern.proc.pid.%d", name[3]);
  struct Process process;
  if (!look(name[3], &process)) {
    *size = 0;
    return 0;
  }
  if (*size < RECORD) {
    macErrno = 12;
    *size = 0;
    return -1;
  }
  memset(value, 0xAA, RECORD);
  memcpy((char*)value + PARENT, &process.parent, sizeof(int32_t));
  memset((char*)value + NAME, 0, NAME_LENGTH + 1);
  memcpy((char*)value + NAME, process.name, strnlen(process.name, NAME_LENGTH));
  *size = RECORD;
  return 0;
}

static int processInfo(int pid, int flavor, uint64_t argument, void* info, int size) {
  enum { BSD_INFO = 3, INFO = 136, TERMINAL = 108 };  // struct proc_bsdinfo of <sys/proc_info.h>
  if (flavor != BSD_INFO || argument != 0) DIE("proc_pidinfo with the unknown flavor %d", flavor);
  TRACE("proc_pidinfo %d", pid);
  struct Process process;
  if (!look(pid, &process) || !isAllowed(&process) || size < INFO) {
    macErrno = !look(pid, &process) ? 3 : !isAllowed(&process) ? 1 : 12;
    return 0;
  }
  memset(info, 0xAA, INFO);
  memcpy((char*)info + TERMINAL, &process.terminal, sizeof process.terminal);
  return INFO;
}

// The first 32 bytes of the name of the executable.
static int processName(int pid, char* name, uint32_t size) {
  enum { LONGEST = 32 };
  TRACE("proc_name %d", pid);
  struct Process process;
  if (!look(pid, &process) || !isAllowed(&process)) {
    macErrno = !look(pid, &process) ? 3 : 1;
    return 0;
  }
  char link[64], path[1024];
  snprintf(link, sizeof link, "/proc/%d/exe", pid);
  const ssize_t length = readlink(link, path, sizeof path - 1);
  if (length < 0) return 0;
  path[length] = 0;
  snprintf(name, size <= LONGEST ? size : LONGEST + 1, "%s", strrchr(path, '/') + 1);
  return (int)strlen(name);
}

static char* nameOfDevice(int32_t device, uint16_t type) {
  enum { CHARACTER_DEVICE = 0x2000 };
  static char name[32];
  if (type != CHARACTER_DEVICE || (device & 0xff000000) != TERMINALS) return NULL;
  snprintf(name, sizeof name, getenv("MACHRUN_PTS") ? "pts/%u" : "ttys%03u", (unsigned)device & 0xffffff);
  TRACE("devname %#x -> %s", (unsigned)device, name);
  return name;
}

const struct Import processImports[] = {{"_devname", (void*)nameOfDevice, NOTHING},
                                        {"_proc_name", (void*)processName, NOTHING},
                                        {"_proc_pidinfo", (void*)processInfo, NOTHING},
                                        {"_sysctl", (void*)controlSystem, MINUS_ONE},
                                        {NULL, NULL, UNKNOWN}};
