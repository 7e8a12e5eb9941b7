// Processes: /proc in the structures of macOS's kernel.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "machrun.h"

struct Process {
  int parent;
  char name[256];
  unsigned terminal;
  uid_t user;
  int isZombie;
  double startedAt;  // seconds since 1970
};

enum { NO_DEVICE = -1, TERMINALS = 0x10000000 };  // NODEV, and the number of /dev/ttys000

// When the system was started, in seconds since 1970.
static long bootTime(void) {
  static long seconds;
  FILE* const file = seconds ? NULL : fopen("/proc/stat", "re");
  char line[4096];
  while (file != NULL && fgets(line, sizeof line, file) != NULL) sscanf(line, "btime %ld", &seconds);
  if (file != NULL) fclose(file);
  return seconds;
}

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
  unsigned long long started;
  sscanf(end + 2, "%c %d %d %d %d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %llu", &state,
         &process->parent, &group, &session, &device, &started);
  process->isZombie = state == 'Z';
  process->startedAt = (double)bootTime() + (double)started / (double)sysconf(_SC_CLK_TCK);
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

// kern.proc.pid: a struct kinfo_proc of <sys/sysctl.h>.
static int processRecord(int pid, void* value, size_t* size) {
  enum { RECORD = 648, NAME = 243, NAME_LENGTH = 16, PARENT = 560 };
  TRACE("sysctl kern.proc.pid.%d", pid);
  struct Process process;
  if (!look(pid, &process)) {
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

static ssize_t linkOf(int pid, const char* what, char* path, size_t size) {
  char link[64];
  snprintf(link, sizeof link, "/proc/%d/%s", pid, what);
  const ssize_t length = readlink(link, path, size - 1);
  path[length < 0 ? 0 : length] = 0;
  return length;
}

// kern.procargs2: the number of arguments, the executable's path, zero bytes, and the arguments.
static int arguments(int pid, char* value, size_t* size) {
  char path[1024], link[64], words[65536];
  TRACE("sysctl kern.procargs2.%d", pid);
  snprintf(link, sizeof link, "/proc/%d/cmdline", pid);
  const int file = open(link, O_RDONLY | O_CLOEXEC);
  const ssize_t length = file < 0 ? -1 : read(file, words, sizeof words);
  if (file >= 0) close(file);
  struct Process process;
  if (length < 0 || !look(pid, &process) || !isAllowed(&process) ||
      linkOf(pid, "exe", path, sizeof path) < 0) {
    macErrno = 22;
    return -1;
  }
  int count = 0;
  for (ssize_t i = 0; i < length; ++i) count += words[i] == 0;
  const size_t start = sizeof count + strlen(path) + 8;
  if (*size < start + (size_t)length) DIE("kern.procargs2 gets a small buffer");
  memset(value, 0, start);
  memcpy(value, &count, sizeof count);
  strcpy(value + sizeof count, path);
  memcpy(value + start, words, (size_t)length);
  *size = start + (size_t)length;
  return 0;
}

static int controlSystem(int* name, unsigned count, void* value, size_t* size, void* newValue,
                         size_t newSize) {
  enum { KERN = 1, PROC = 14, BOOTTIME = 21, PROCARGS2 = 49, BY_PID = 1 };
  if (name[0] != KERN || newValue || newSize) DIE("sysctl of something else");
  if (count == 4 && name[1] == PROC && name[2] == BY_PID) return processRecord(name[3], value, size);
  if (count == 3 && name[1] == PROCARGS2) return arguments(name[2], value, size);
  if (count != 2 || name[1] != BOOTTIME || *size != 16) DIE("sysctl of something else: kern.%d", name[1]);
  const int64_t time[2] = {bootTime(), 0};
  memcpy(value, time, sizeof time);
  return 0;
}

static int processInfo(int pid, int flavor, uint64_t argument, void* info, int size) {
  // struct proc_bsdinfo and struct proc_vnodepathinfo of <sys/proc_info.h>
  enum {
    BSD_INFO = 3,
    BSD_SIZE = 136,
    STATUS = 4,
    PID = 12,
    PARENT = 16,
    USER = 20,
    NAME = 48,
    TERMINAL = 108,
    START = 120
  };
  enum { PATHS = 9, PATHS_SIZE = 2352, FOLDER = 152, RUNNING = 2, ZOMBIE = 5 };
  TRACE("proc_pidinfo %d %d", pid, flavor);
  if ((flavor != BSD_INFO && flavor != PATHS) || argument != 0)
    DIE("proc_pidinfo with the unknown flavor %d", flavor);
  const int needed = flavor == PATHS ? PATHS_SIZE : BSD_SIZE;
  struct Process process;
  const int isThere = look(pid, &process);
  if (!isThere || !isAllowed(&process) || size < needed) {
    macErrno = !isThere ? 3 : !isAllowed(&process) ? 1 : 12;
    return 0;
  }
  memset(info, 0xAA, (size_t)needed);
  if (flavor == PATHS) {
    if (linkOf(pid, "cwd", (char*)info + FOLDER, 1024) >= 0) return needed;
    macErrno = 3;
    return 0;
  }
  const int status = process.isZombie ? ZOMBIE : RUNNING;
  const uint64_t start[2] = {(uint64_t)process.startedAt,
                             (uint64_t)((process.startedAt - (double)(uint64_t)process.startedAt) * 1e6)};
  memcpy((char*)info + STATUS, &status, sizeof status);
  memcpy((char*)info + PID, &pid, sizeof pid);
  memcpy((char*)info + PARENT, &process.parent, sizeof process.parent);
  memcpy((char*)info + USER, &process.user, sizeof process.user);
  memset((char*)info + NAME, 0, 16);
  memcpy((char*)info + NAME, process.name, strnlen(process.name, 15));
  memcpy((char*)info + TERMINAL, &process.terminal, sizeof process.terminal);
  memcpy((char*)info + START, start, sizeof start);
  return needed;
}

static int processPath(int pid, char* path, uint32_t size) {
  const ssize_t length = linkOf(pid, "exe", path, size);
  if (length < 0) macErrno = 3;
  return length < 0 ? 0 : (int)length;
}

// Both lists of processes return how many there are.
static int listProcesses(int parent, int32_t* pids, int size) {
  DIR* const folder = opendir("/proc");
  int count = 0;
  for (const struct dirent* entry; folder != NULL && (entry = readdir(folder)) != NULL;) {
    const int pid = atoi(entry->d_name);
    struct Process process;
    if (pid <= 0 || (count + 1) * (int)sizeof *pids > size) continue;
    if (parent != 0 && (!look(pid, &process) || process.parent != parent)) continue;
    pids[count++] = pid;
  }
  if (folder != NULL) closedir(folder);
  return count;
}

static int listAll(int32_t* pids, int size) {
  return listProcesses(0, pids, size);
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
  char path[1024];
  if (linkOf(pid, "exe", path, sizeof path) < 0) return 0;
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

const char* executable;

static int executablePath(char* path, uint32_t* size) {
  if (realpath(executable, NULL) == NULL || *size < strlen(executable) + 1) return -1;
  strcpy(path, executable);
  return 0;
}

static char*** environmentOfFile(void) {
  return &environ;
}

const struct Import processImports[] = {{"_devname", (void*)nameOfDevice, NOTHING},
                                        {"__NSGetEnviron", (void*)environmentOfFile, NEVER},
                                        {"__NSGetExecutablePath", (void*)executablePath, MINUS_ONE},
                                        {"_environ", &environ, NEVER},
                                        {"_proc_listallpids", (void*)listAll, NOTHING},
                                        {"_proc_listchildpids", (void*)listProcesses, NOTHING},
                                        {"_proc_pidpath", (void*)processPath, NOTHING},
                                        {"_proc_name", (void*)processName, NOTHING},
                                        {"_proc_pidinfo", (void*)processInfo, NOTHING},
                                        {"_sysctl", (void*)controlSystem, MINUS_ONE},
                                        {NULL, NULL, UNKNOWN}};
