// Loads a Mach-O file and runs it. The structures are those of <mach-o/loader.h>, <mach-o/fat.h> and
// <mach-o/fixup-chains.h>.
#include "machrun.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

int isTraced;

static const unsigned char* file;

static uint32_t number32(size_t at) {
  uint32_t value;
  memcpy(&value, file + at, sizeof value);
  return value;
}

static uint64_t number64(size_t at) {
  uint64_t value;
  memcpy(&value, file + at, sizeof value);
  return value;
}

static struct Segment {
  uint64_t address, size, start, stored;
  uint32_t protection;
  size_t command;
} segments[16];
static int segmentCount, rebased, boundPlaces;
static intptr_t slide;

static uint64_t unsignedLeb(const unsigned char** at) {
  uint64_t value = 0;
  for (int shift = 0;; shift += 7) {
    const unsigned char byte = *(*at)++;
    value |= (uint64_t)(byte & 0x7f) << shift;
    if (!(byte & 0x80)) return value;
  }
}

static int64_t signedLeb(const unsigned char** at) {
  int64_t value = 0;
  for (int shift = 0;;) {
    const unsigned char byte = *(*at)++;
    value |= (int64_t)(byte & 0x7f) << shift;
    shift += 7;
    if (byte & 0x80) continue;
    if ((byte & 0x40) && shift < 64) value |= -((int64_t)1 << shift);
    return value;
  }
}

static uint64_t* place(int segment, uint64_t offset) {
  if (segment >= segmentCount || offset + 8 > segments[segment].size)
    DIE("a fix-up lies outside of segment %d", segment);
  return (uint64_t*)(segments[segment].address + offset + (uint64_t)slide);
}

static void rebaseAt(int segment, uint64_t* offset, uint64_t skip) {
  *place(segment, *offset) += (uint64_t)slide;
  *offset += 8 + skip;
  ++rebased;
}

static void rebase(const unsigned char* at, const unsigned char* end) {
  int segment = 0;
  uint64_t offset = 0, count, skip;
  while (at < end) {
    const unsigned char operation = *at & 0xf0, immediate = *at++ & 0x0f;
    switch (operation) {
      case 0x00:
        return;
      case 0x10:
        if (immediate != 1) DIE("a rebase has the unknown type %d", immediate);
        break;
      case 0x20:
        segment = immediate;
        offset = unsignedLeb(&at);
        break;
      case 0x30:
        offset += unsignedLeb(&at);
        break;
      case 0x40:
        offset += immediate * 8u;
        break;
      case 0x50:
        for (count = immediate; count > 0; --count) rebaseAt(segment, &offset, 0);
        break;
      case 0x60:
        for (count = unsignedLeb(&at); count > 0; --count) rebaseAt(segment, &offset, 0);
        break;
      case 0x70:
        rebaseAt(segment, &offset, unsignedLeb(&at));
        break;
      case 0x80:
        count = unsignedLeb(&at);
        skip = unsignedLeb(&at);
        for (; count > 0; --count) rebaseAt(segment, &offset, skip);
        break;
      default:
        DIE("the rebase opcode %#x is not known", operation);
    }
  }
}

static void bindAt(int segment, uint64_t* offset, const char* name, int64_t addend, uint64_t skip) {
  *place(segment, *offset) = (uint64_t)bindImport(name) + (uint64_t)addend;
  *offset += 8 + skip;
  ++boundPlaces;
}

// Calls `each` for every bound place. In a list of lazy binds the opcode 0 only ends an entry.
typedef void Bind(int segment, uint64_t* offset, const char* name, int64_t addend, uint64_t skip);
static void bind(const unsigned char* at, const unsigned char* end, int isLazy, Bind* each) {
  int segment = 0;
  uint64_t offset = 0, count, skip;
  int64_t addend = 0;
  const char* name = NULL;
  while (at < end) {
    const unsigned char operation = *at & 0xf0, immediate = *at++ & 0x0f;
    switch (operation) {
      case 0x00:
        if (!isLazy) return;
        break;
      case 0x10:
      case 0x30:
        break;  // the library
      case 0x20:
        unsignedLeb(&at);
        break;
      case 0x40:
        name = (const char*)at;
        at += strlen(name) + 1;
        break;
      case 0x50:
        if (immediate != 1) DIE("a bind has the unknown type %d", immediate);
        break;
      case 0x60:
        addend = signedLeb(&at);
        break;
      case 0x70:
        segment = immediate;
        offset = unsignedLeb(&at);
        break;
      case 0x80:
        offset += unsignedLeb(&at);
        break;
      case 0x90:
        each(segment, &offset, name, addend, 0);
        break;
      case 0xa0:
        each(segment, &offset, name, addend, unsignedLeb(&at));
        break;
      case 0xb0:
        each(segment, &offset, name, addend, immediate * 8u);
        break;
      case 0xc0:
        count = unsignedLeb(&at);
        skip = unsignedLeb(&at);
        for (; count > 0; --count) each(segment, &offset, name, addend, skip);
        break;
      default:
        DIE("the bind opcode %#x is not known", operation);
    }
  }
}

static void printImport(int segment, uint64_t* offset, const char* name, int64_t addend, uint64_t skip) {
  static const char* const kinds[] = {"unknown", "never", "minus-one", "nothing", "number"};
  (void)segment, (void)offset, (void)addend, (void)skip;
  printf("%s %s\n", kinds[failureOf(name)], name);
}

// Maps the file and finds the part for this processor.
static void openSlices(const char* path) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  struct stat status;
  if (descriptor < 0 || fstat(descriptor, &status) != 0) DIE("%s cannot be read", path);
  const unsigned char* const whole =
      mmap(NULL, (size_t)status.st_size, PROT_READ, MAP_PRIVATE, descriptor, 0);
  if (whole == MAP_FAILED) DIE("%s cannot be mapped", path);
  close(descriptor);
  file = whole;
  if (number32(0) == 0xbebafeca) {  // FAT_MAGIC, whose header is big-endian
    const uint32_t count = __builtin_bswap32(number32(4));
    size_t start = 0;
    for (uint32_t i = 0; i < count; ++i) {
      if (__builtin_bswap32(number32(8 + 20 * i)) == CPU_TYPE)
        start = __builtin_bswap32(number32(8 + 20 * i + 8));
    }
    if (start == 0) DIE("%s has no part for " CPU_NAME, path);
    file = whole + start;
  }
  if (number32(0) != 0xfeedfacf || number32(4) != CPU_TYPE || number32(12) != 2)
    DIE("%s is no executable for " CPU_NAME, path);
}

static void noteSection(size_t section) {
  const char* const name = (const char*)file + section;
  void* const start = (void*)(number64(section + 32) + (uint64_t)slide);
  const uint64_t size = number64(section + 40);
  const uint32_t type = number32(section + 64) & 0xff;
  if (strncmp(name, "__unwind_info", 16) == 0) {
    unwinding.compact = start;
    unwinding.compactSize = size;
  }
  if (strncmp(name, "__eh_frame", 16) == 0) {
    unwinding.dwarf = start;
    unwinding.dwarfSize = size;
  }
  if (type >= 0x11 && type <= 0x15) DIE("thread-local variables are not known here");
}

int main(int argc, char** argv, char** environment) {
  const int isList = argc > 2 && strcmp(argv[1], "--imports") == 0;
  isTraced = getenv("MACHRUN_TRACE") != NULL;
  if (argc < 2) DIE("no file is named");
  openSlices(argv[1 + isList]);
  executable = realpath(argv[1 + isList], NULL);

  enum {
    SEGMENT = 0x19,
    DYLD_INFO = 0x80000022,
    DYLD_CHAINED_FIXUPS = 0x80000034,
    MAIN = 0x80000028,
    INITIALIZERS = 9
  };
  uint64_t low = UINT64_MAX, high = 0, text = 0, entry = 0;
  size_t info = 0, at = 32;
  for (uint32_t i = 0; i < number32(16); at += number32(at + 4), ++i) {
    const uint32_t command = number32(at);
    if (command == DYLD_CHAINED_FIXUPS) DIE("chained fix-ups are not known here");
    if (command == DYLD_INFO) info = at;
    if (command == MAIN) entry = number64(at + 8);
    if (command != SEGMENT) continue;
    if (segmentCount == 16) DIE("there are too many segments");
    struct Segment* const segment = &segments[segmentCount++];
    *segment = (struct Segment){number64(at + 24), number64(at + 32), number64(at + 40),
                                number64(at + 48), number32(at + 60), at};
    if (segment->protection == 0) continue;  // __PAGEZERO
    if (segment->address < low) low = segment->address;
    if (segment->address + segment->size > high) high = segment->address + segment->size;
    if (strcmp((const char*)file + at + 8, "__TEXT") == 0) text = segment->address;
  }
  if (info == 0) DIE("there is no LC_DYLD_INFO_ONLY");
#define PART(offset) \
  file + number32(info + (offset)), file + number32(info + (offset)) + number32(info + (offset) + 4)
  if (isList) {
    bind(PART(16), 0, printImport);
    bind(PART(32), 1, printImport);
    return fflush(stdout);
  }

  const size_t size = (high - low + 0xffff) & ~(size_t)0xffff;
  char* const base =
      mmap((void*)0x234560000, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (base == MAP_FAILED) DIE("there is no room for the file");
  slide = (intptr_t)base - (intptr_t)low;
  imageStart = (uintptr_t)base;
  imageEnd = imageStart + size;
  void (**initializers)(int, char**, char**, const char**) = NULL;
  size_t initializerCount = 0;
  for (int i = 0; i < segmentCount; ++i) {
    if (segments[i].protection == 0) continue;
    memcpy((char*)(segments[i].address + (uint64_t)slide), file + segments[i].start, segments[i].stored);
    for (uint32_t k = 0; k < number32(segments[i].command + 64); ++k) {
      const size_t section = segments[i].command + 72 + 80 * k;
      noteSection(section);
      if ((number32(section + 64) & 0xff) != INITIALIZERS) continue;
      initializers = (void*)(number64(section + 32) + (uint64_t)slide);
      initializerCount = number64(section + 40) / 8;
    }
  }
  unwinding.header = (void*)(text + (uint64_t)slide);
  rebase(PART(8));
  bind(PART(16), 0, bindAt);
  bind(PART(24), 0, bindAt);
  bind(PART(32), 1, bindAt);
  for (int i = 0; i < segmentCount; ++i) {
    if (segments[i].protection == 0) continue;
    void* const start = (void*)(segments[i].address + (uint64_t)slide);
    const uint32_t allowed = segments[i].protection;
    __builtin___clear_cache(start, (char*)start + segments[i].size);
    // dyld makes __DATA_CONST read-only once it is bound (SG_READ_ONLY).
    const int isConstant = (number32(segments[i].command + 68) & 0x10) != 0;
    mprotect(start, segments[i].size,
             (allowed & 1 ? PROT_READ : 0) | (allowed & 2 && !isConstant ? PROT_WRITE : 0) |
                 (allowed & 4 ? PROT_EXEC : 0));
  }
  TRACE("%d places rebased, %d bound, %zu initializers", rebased, boundPlaces, initializerCount);

  const char* apple[] = {"executable_path=", NULL};
  for (size_t i = 0; i < initializerCount; ++i) initializers[i](argc - 1, argv + 1, environment, apple);
  int (*start)(int, char**, char**, const char**) = (void*)(text + entry + (uint64_t)slide);
  endCleanly(start(argc - 1, argv + 1, environment, apple));
}
