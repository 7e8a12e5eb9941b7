// Files, with macOS's flags and structures.
#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "machrun.h"

int openFile(const char* path, int flags, int mode) {
  static const struct {
    int mac, here;
  } known[] = {{4, O_NONBLOCK},     {8, O_APPEND},           {0x100, O_NOFOLLOW},
               {0x200, O_CREAT},    {0x400, O_TRUNC},        {0x800, O_EXCL},
               {0x20000, O_NOCTTY}, {0x100000, O_DIRECTORY}, {0x1000000, O_CLOEXEC}};
  int here = flags & 3, rest = flags & ~3;
  for (size_t i = 0; i < sizeof known / sizeof *known; ++i) {
    if (rest & known[i].mac) here |= known[i].here;
    rest &= ~known[i].mac;
  }
  if (rest) DIE("open with unknown flags %#x", rest);
  const int file = CHECKED(open(path, here, mode));
  TRACE("open %s %#x -> %d", path, flags, file);
  return file;
}

// fcntl: what there is of it in the file.
long controlFile(int file, int command, long argument) {
  TRACE("fcntl %d %d %ld", file, command, argument);
  switch (command) {
    case 0:
      return CHECKED(fcntl(file, F_DUPFD, argument));
    case 1:
      return CHECKED(fcntl(file, F_GETFD));
    case 2:
      return CHECKED(fcntl(file, F_SETFD, argument));
    case 3: {
      const int flags = CHECKED(fcntl(file, F_GETFL));
      if (flags < 0) return flags;
      return (flags & 3) | (flags & O_NONBLOCK ? 4 : 0) | (flags & O_APPEND ? 8 : 0);
    }
    case 67:
      return CHECKED(fcntl(file, F_DUPFD_CLOEXEC, argument));
    default:
      DIE("fcntl with the unknown command %d", command);
  }
}

struct MacStat {
  int32_t device;
  uint16_t mode, links;
  uint64_t number;
  uint32_t user, group;
  int32_t specialDevice;
  struct {
    int64_t seconds, nanoseconds;
  } accessed, modified, changed, born;
  int64_t size, blocks;
  int32_t blockSize;
  uint32_t flags, generation;
  int32_t spare;
  int64_t spares[2];
};
_Static_assert(sizeof(struct MacStat) == 144 && offsetof(struct MacStat, size) == 96,
               "struct stat of <sys/stat.h>");

static int fill(int result, const struct stat* here, struct MacStat* mac) {
  if (result != 0) {
    takeErrno();
    return result;
  }
  memset(mac, 0xAA, sizeof *mac);
  mac->device = (int32_t)here->st_dev;
  mac->mode = (uint16_t)here->st_mode;
  mac->links = (uint16_t)here->st_nlink;
  mac->number = here->st_ino;
  mac->user = here->st_uid;
  mac->group = here->st_gid;
  mac->modified.seconds = here->st_mtim.tv_sec;
  mac->modified.nanoseconds = here->st_mtim.tv_nsec;
  mac->changed.seconds = here->st_ctim.tv_sec;
  mac->changed.nanoseconds = here->st_ctim.tv_nsec;
  mac->size = here->st_size;
  mac->blocks = here->st_blocks;
  mac->blockSize = (int32_t)here->st_blksize;
  return 0;
}

static int statPath(const char* path, struct MacStat* mac) {
  struct stat here;
  const int result = stat(path, &here);
  TRACE("stat %s -> %d", path, result);
  return fill(result, &here, mac);
}

static int statLink(const char* path, struct MacStat* mac) {
  struct stat here;
  return fill(lstat(path, &here), &here, mac);
}

static int statFile(int file, struct MacStat* mac) {
  struct stat here;
  return fill(fstat(file, &here), &here, mac);
}

struct MacEntry {
  uint64_t number, offset;
  uint16_t size, nameLength;
  uint8_t type;
  char name[1024];
};
_Static_assert(offsetof(struct MacEntry, name) == 21, "struct dirent of <sys/dirent.h>");

static void* openFolder(const char* path) {
  TRACE("opendir %s", path);
  DIR* folder = opendir(path);
  if (folder == NULL) takeErrno();
  return folder;
}

static struct MacEntry* readFolder(void* folder) {
  static struct MacEntry mac;
  errno = 0;
  const struct dirent* here = readdir(folder);
  if (here == NULL) {
    if (errno != 0) takeErrno();
    return NULL;
  }
  memset(&mac, 0xAA, sizeof mac);
  mac.number = here->d_ino;
  mac.size = sizeof mac;
  mac.nameLength = (uint16_t)strlen(here->d_name);
  mac.type = here->d_type;
  strcpy(mac.name, here->d_name);
  return &mac;
}

static int closeFolder(void* folder) {
  return CHECKED(closedir(folder));
}

static int canAccess(const char* path, int mode) {
  TRACE("access %s", path);
  return CHECKED(access(path, mode));
}

// macOS's numbers are those of its <sys/fcntl.h>.
static int canAccessAt(int folder, const char* path, int mode, int flags) {
  const int macCurrentFolder = -2;
  const int macEffectiveUser = 0x10;
  TRACE("faccessat %s", path);
  if (folder != macCurrentFolder || (flags & ~macEffectiveUser) != 0)
    DIE("faccessat gets the folder %d and the flags %#x", folder, (unsigned)flags);
  return CHECKED(faccessat(AT_FDCWD, path, mode, flags == macEffectiveUser ? AT_EACCESS : 0));
}

static int closeFile(int file) {
  return CHECKED(close(file));
}

static int duplicateTo(int file, int to) {
  TRACE("dup2 %d %d", file, to);
  return CHECKED(dup2(file, to));
}

static int lockFile(int file, int operation) {
  // LOCK_SH, LOCK_EX, LOCK_NB and LOCK_UN have the same numbers on both systems.
  TRACE("flock %d %d", file, operation);
  return CHECKED(flock(file, operation));
}

static int isEarly(int file) {
  enum { TRY_AGAIN = 35 };
  static int asked;
  if (file != 0 || asked++ > 0 || getenv("MACHRUN_INPUT") == NULL) return 0;
  macErrno = TRY_AGAIN;
  return 1;
}

static ssize_t readFile(int file, void* bytes, size_t size) {
  if (isEarly(file)) return -1;
  return CHECKED(read(file, bytes, size));
}

static ssize_t writeFile(int file, const void* bytes, size_t size) {
  return CHECKED(write(file, bytes, size));
}

static ssize_t readAt(int file, void* bytes, size_t size, off_t offset) {
  return CHECKED(pread(file, bytes, size, offset));
}

static off_t seekFile(int file, off_t offset, int whence) {
  return CHECKED(lseek(file, offset, whence));
}

static int renameFile(const char* from, const char* to) {
  TRACE("rename %s %s", from, to);
  return CHECKED(rename(from, to));
}

static int unlinkFile(const char* path) {
  TRACE("unlink %s", path);
  return CHECKED(unlink(path));
}

static int makeFolder(const char* path, uint16_t mode) {
  TRACE("mkdir %s", path);
  return CHECKED(mkdir(path, mode));
}

static int removeFolder(const char* path) {
  return CHECKED(rmdir(path));
}

static char* workingFolder(char* buffer, size_t size) {
  char* const path = getcwd(buffer, size);
  if (path == NULL) takeErrno();
  return path;
}

static char* realPath(const char* path, char* buffer) {
  char* const real = realpath(path, buffer);
  if (real == NULL) takeErrno();
  return real;
}

static int pollFiles(struct pollfd* files, uint32_t count, int timeout) {
  return CHECKED(poll(files, count, timeout));
}

static int syncFile(int file) {
  return CHECKED(fsync(file));
}

static int changeMode(int file, uint16_t mode) {
  return CHECKED(fchmod(file, mode));
}

static ssize_t readLink(const char* path, char* target, size_t size) {
  return CHECKED(readlink(path, target, size));
}

static int isTerminal(int file) {
  const int answer = isatty(file);
  if (answer == 0) takeErrno();
  return answer;
}

struct MacUser {
  char *name, *password;
  uint32_t user, group;
  int64_t change;
  char* class, *description, *home, *shell;
  int64_t expires;
};

static struct MacUser* userNumbered(uint32_t number) {
  static struct MacUser mac;
  static char empty[] = "";
  struct passwd* here = getpwuid(number);
  if (here == NULL) return NULL;
  char* const home = getenv("MACHRUN_HOME");
  if (home != NULL) here->pw_dir = home;
  mac = (struct MacUser){here->pw_name, here->pw_passwd, here->pw_uid, here->pw_gid,   0,
                         empty,         here->pw_gecos,  here->pw_dir, here->pw_shell, 0};
  return &mac;
}

const struct Import fileImports[] = {{"_access", (void*)canAccess, MINUS_ONE},
                                     {"_close", (void*)closeFile, MINUS_ONE},
                                     {"_closedir", (void*)closeFolder, MINUS_ONE},
                                     {"_dup2", (void*)duplicateTo, MINUS_ONE},
                                     {"_faccessat", (void*)canAccessAt, MINUS_ONE},
                                     {"_fchmod", (void*)changeMode, MINUS_ONE},
                                     {"_flock", (void*)lockFile, MINUS_ONE},
                                     {"_fstat", (void*)statFile, MINUS_ONE},
                                     {"_fstat$INODE64", (void*)statFile, MINUS_ONE},
                                     {"_fsync", (void*)syncFile, MINUS_ONE},
                                     {"_getcwd", (void*)workingFolder, NOTHING},
                                     {"_geteuid", (void*)geteuid, NEVER},
                                     {"_getppid", (void*)getppid, NEVER},
                                     {"_getpid", (void*)getpid, NEVER},
                                     {"_getpwuid", (void*)userNumbered, NOTHING},
                                     {"_getuid", (void*)getuid, NEVER},
                                     {"_isatty", (void*)isTerminal, NOTHING},
                                     {"_lseek", (void*)seekFile, MINUS_ONE},
                                     {"_lstat", (void*)statLink, MINUS_ONE},
                                     {"_lstat$INODE64", (void*)statLink, MINUS_ONE},
                                     {"_mkdir", (void*)makeFolder, MINUS_ONE},
                                     {"_opendir", (void*)openFolder, NOTHING},
                                     {"_opendir$INODE64", (void*)openFolder, NOTHING},
                                     {"_poll", (void*)pollFiles, MINUS_ONE},
                                     {"_pread", (void*)readAt, MINUS_ONE},
                                     {"_read", (void*)readFile, MINUS_ONE},
                                     {"_readdir", (void*)readFolder, NOTHING},
                                     {"_readdir$INODE64", (void*)readFolder, NOTHING},
                                     {"_readlink", (void*)readLink, MINUS_ONE},
                                     {"_realpath$DARWIN_EXTSN", (void*)realPath, NOTHING},
                                     {"_rename", (void*)renameFile, MINUS_ONE},
                                     {"_rmdir", (void*)removeFolder, MINUS_ONE},
                                     {"_stat", (void*)statPath, MINUS_ONE},
                                     {"_stat$INODE64", (void*)statPath, MINUS_ONE},
                                     {"_unlink", (void*)unlinkFile, MINUS_ONE},
                                     {"_write", (void*)writeFile, MINUS_ONE},
                                     {NULL, NULL, UNKNOWN}};
