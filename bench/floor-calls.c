/* The least that handling an event can cost: the system calls of one run of tavrin-hook in their order, for a
   stored session, and nothing between them. The record is written as it was read. What this takes is the
   price of the process, of the pipe and of the files. What tavrin-hook takes beyond it is its own work. A
   test compares the calls.

       floor-calls SESSION                 the event on standard input, the files in HOME
       floor-calls SESSION without-host    the calls of a session whose host is unknown and not found */
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/auxv.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

static char payload[32768];
static char record[65536];
static char stat_text[4096];

/* Reads a process's stat file and returns its parent. */
static int parent_of(int pid) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/stat", pid);
  const int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  const ssize_t count = read(file, stat_text, sizeof stat_text - 1);
  if (count <= 0) return 0;
  stat_text[count] = '\0';
  const char* const end = strrchr(stat_text, ')');
  return end == NULL ? 0 : atoi(end + 4);
}

/* Reads a process's cgroup file. */
static void read_cgroup(int pid) {
  char path[64];
  snprintf(path, sizeof path, "/proc/%d/cgroup", pid);
  const int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (read(file, stat_text, sizeof stat_text) < 0) _exit(1);
}

/* Reads what the search for a host does: all ancestors, and whether the outermost or the innermost one may
   belong to an application. */
static void look_for_host(int parent) {
  int outermost = parent;
  int count = 0;
  for (int pid = parent; pid >= 2 && count < 32; ++count) {
    outermost = pid;
    pid = parent_of(pid);
  }
  read_cgroup(outermost);
  if (outermost != parent) read_cgroup(parent);
}

int main(int argc, char** argv) {
  const char* const home = getenv("HOME");
  const char* const id = argc > 1 ? argv[1] : "";
  char lock_path[512];
  char record_path[512];
  char temporary_path[512];
  char log_path[512];
  unsigned char random[16];
  static const char line[] =
      "2026-07-11T08:03:12Z claude ba7fd3a0 PreToolUse Write#bbc977 \xe2\x86\x92 working\n";
  if (home == NULL) return 1;

  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
  struct stat status;
  if (getauxval(AT_EUID) == 0) stat(home, &status); /* whose home it is */
  const int parent = getppid();
  while (read(0, payload, sizeof payload) > 0) {
  }

  snprintf(lock_path, sizeof lock_path, "%s/Library/Application Support/Tavrin/sessions/.%s.lock", home, id);
  const int lock = open(lock_path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600);
  flock(lock, LOCK_EX);

  snprintf(record_path, sizeof record_path, "%s/Library/Application Support/Tavrin/sessions/%s.json", home,
           id);
  const int old = open(record_path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  const ssize_t size = read(old, record, sizeof record);
  const ssize_t end = read(old, record, 0 < size ? 4096 : 0);
  close(old);
  if (size <= 0 || end != 0) return 1;

  if (argc > 2) {
    look_for_host(parent);
  } else {
    parent_of(parent_of(parent));
  }

  getrandom(random, sizeof random, 0);
  snprintf(temporary_path, sizeof temporary_path,
           "%s/Library/Application Support/Tavrin/sessions/.%02X%02X%02X%02X-4D31-4C60-9A1F-0198C2A47D31.tmp",
           home, random[0], random[1], random[2], random[3]);
  const int fresh = open(temporary_path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, 0666);
  if (write(fresh, record, (size_t)size) != size) return 1;
  close(fresh);
  if (rename(temporary_path, record_path) != 0) return 1;

  snprintf(log_path, sizeof log_path, "%s/Library/Logs/Tavrin/hook.log", home);
  const int log = open(log_path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0600);
  flock(log, LOCK_EX);
  fstat(log, &status);
  if (write(log, line, sizeof line - 1) < 0) return 1;
  flock(log, LOCK_UN);
  flock(lock, LOCK_UN);
  _exit(0);
}
