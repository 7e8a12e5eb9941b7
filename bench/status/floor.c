// The least that a status line can cost: reads each record once, counts the states without parsing, and prints a line.
// status-floor DIRECTORY
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

int main(int count, char** words) {
  DIR* const directory = count == 2 ? opendir(words[1]) : NULL;
  if (directory == NULL) return 1;
  int needsYou = 0, working = 0, idle = 0;
  for (const struct dirent* entry; (entry = readdir(directory)) != NULL;) {
    static char record[1 << 20];
    const char* const end = strrchr(entry->d_name, '.');
    if (end == NULL || strcmp(end, ".json") != 0) continue;
    const int file = openat(dirfd(directory), entry->d_name, O_RDONLY);
    if (file < 0) continue;
    const ssize_t size = read(file, record, sizeof record - 1);
    close(file);
    if (size < 0) continue;
    record[size] = '\0';
    if (strstr(record, "\"state\" : \"needsYou\"") != NULL) {
      ++needsYou;
    } else if (strstr(record, "\"state\" : \"working\"") != NULL) {
      ++working;
    } else {
      ++idle;
    }
  }
  printf("%d needs you, %d burning, %d idle\n", needsYou, working, idle);
  return 0;
}
