// Characters, numbers and formatted output.
#include <locale.h>
#include <wchar.h>

#include "machrun.h"

// _RuneLocale of <runetype.h>, of which only ASCII is known.
static struct {
  char magic[8], encoding[32];
  void *get, *put;
  int32_t invalid;
  uint32_t types[256];
  int32_t lower[256], upper[256];
  char rest[400];
} runes;

__attribute__((constructor)) static void fillRunes(void) {
  enum { DIGIT = 0x400, SPACE = 0x4000 };
  for (int c = 0; c < 256; ++c) {
    runes.lower[c] = c >= 'A' && c <= 'Z' ? c + 32 : c;
    runes.upper[c] = c >= 'a' && c <= 'z' ? c - 32 : c;
    if (c >= '0' && c <= '9') runes.types[c] = DIGIT | (uint32_t)(c - '0');
    if (c != 0 && strchr(" \t\n\v\f\r", c)) runes.types[c] = SPACE;
  }
}

static char outputObject, errorObject;
static void *output = &outputObject, *error = &errorObject;

static FILE* streamOf(const void* stream) {
  return stream == &errorObject ? stderr : stdout;
}

static int putCharacter(int character, void* stream) {
  return fputc(character, streamOf(stream));
}

static int putText(const char* text, void* stream) {
  return fputs(text, streamOf(stream));
}

static size_t putBytes(const void* bytes, size_t size, size_t count, void* stream) {
  return fwrite(bytes, size, count, streamOf(stream));
}

static int flush(void* stream) {
  return fflush(stream == NULL ? NULL : streamOf(stream));
}

static int streamError(void* stream) {
  return ferror(streamOf(stream));
}

// A null locale is that of C.
static double readDouble(const char* text, char** end, void* locale) {
  (void)locale;
  static locale_t c;
  if (!c) c = newlocale(LC_ALL_MASK, "C", NULL);
  return strtod_l(text, end, c);
}

static void* makeLocale(void) {
  static char locale;
  return &locale;
}

static int succeed(void) {
  return 0;
}

static size_t one(void) {
  return 1;
}

static int toLower(int c) {
  return c >= 'A' && c <= 'Z' ? c + 32 : c;
}

static int toUpper(int c) {
  return c >= 'a' && c <= 'z' ? c - 32 : c;
}

int openFile(const char* path, int flags, int mode);
long controlFile(int file, int command, long argument);

#if defined(__x86_64__)
// Both systems pass further arguments alike. open and fcntl take one.
static int formatTo(void* stream, const char* form, ...) {
  va_list list;
  va_start(list, form);
  const int count = vfprintf(streamOf(stream), form, list);
  va_end(list);
  return count;
}

static int formatIn(char* text, size_t size, void* locale, const char* form, ...) {
  (void)locale;
  va_list list;
  va_start(list, form);
  const int count = vsnprintf(text, size, form, list);
  va_end(list);
  return count;
}

static int formatListTo(void* stream, const char* form, va_list list) {
  return vfprintf(streamOf(stream), form, list);
}

#define FORMAT_TEXT snprintf
#define FORMAT_LIST vsnprintf
#define OPEN openFile
#define FCNTL controlFile
#else
// On arm64, macOS passes further arguments on the stack, eight bytes each. A va_list is a pointer to them.
static int formatList(char* text, size_t size, const char* form, char* list) {
  size_t count = 0;
  for (; *form; ++form) {
    char piece[4096], spec[32];
    int used = 0;
    if (*form != '%') {
      if (count + 1 < size) text[count] = *form;
      ++count;
      continue;
    }
    spec[used++] = '%';
    for (++form; *form && !strchr("diuxXscpfgeGEFaA%", *form); ++form) {
      if (*form == '*') {
        used += sprintf(spec + used, "%d", *(int*)list);
        list += 8;
      } else {
        spec[used++] = *form;
      }
    }
    spec[used++] = *form;
    spec[used] = 0;
    if (*form == '%') {
      strcpy(piece, "%");
    } else {
      if (strchr("fgeGEFaA", *form))
        snprintf(piece, sizeof piece, spec, *(double*)list);
      else if (*form == 's')
        snprintf(piece, sizeof piece, spec, *(char**)list);
      else if (*form == 'p' || strpbrk(spec, "lzjt"))
        snprintf(piece, sizeof piece, spec, *(long*)list);
      else
        snprintf(piece, sizeof piece, spec, *(int*)list);
      list += 8;
    }
    for (const char* each = piece; *each; ++each) {
      if (count + 1 < size) text[count] = *each;
      ++count;
    }
  }
  if (size > 0) text[count < size ? count : size - 1] = 0;
  return (int)count;
}

static int formatListTo(void* stream, const char* form, char* list) {
  char text[4096];
  const int count = formatList(text, sizeof text, form, list);
  fputs(text, streamOf(stream));
  return count;
}

int machrunFormat(char* text, size_t size, const char* form, char* list) {
  return formatList(text, size, form, list);
}

int machrunFormatIn(char* text, size_t size, void* locale, const char* form, char* list) {
  (void)locale;
  return formatList(text, size, form, list);
}

int machrunFormatTo(void* stream, const char* form, char* list) {
  return formatListTo(stream, form, list);
}

void openOnStack(void), fcntlOnStack(void), formatOnStack(void), formatInOnStack(void), formatToOnStack(void);
__asm__(
    "openOnStack: ldr w2, [sp]\n b openFile\n"
    "fcntlOnStack: ldr x2, [sp]\n b controlFile\n"
    "formatOnStack: mov x3, sp\n b machrunFormat\n"
    "formatInOnStack: mov x4, sp\n b machrunFormatIn\n"
    "formatToOnStack: mov x2, sp\n b machrunFormatTo\n");
#define formatTo formatToOnStack
#define formatIn formatInOnStack
#define FORMAT_TEXT formatOnStack
#define FORMAT_LIST formatList
#define OPEN openOnStack
#define FCNTL fcntlOnStack
#endif

#define SAME(name) \
  { "_" #name, (void*)name, NEVER }
const struct Import textImports[] = {{"__DefaultRuneLocale", &runes, NEVER},
                                     {"___stderrp", &error, NEVER},
                                     {"___stdoutp", &output, NEVER},
                                     {"____mb_cur_max_l", (void*)one, NEVER},
                                     {"___tolower", (void*)toLower, NEVER},
                                     {"___toupper", (void*)toUpper, NEVER},
                                     {"_fcntl", (void*)FCNTL, MINUS_ONE},
                                     {"_ferror", (void*)streamError, NEVER},
                                     {"_fflush", (void*)flush, MINUS_ONE},
                                     {"_fprintf", (void*)formatTo, MINUS_ONE},
                                     {"_fputc", (void*)putCharacter, MINUS_ONE},
                                     {"_fputs", (void*)putText, MINUS_ONE},
                                     {"_freelocale", (void*)succeed, NEVER},
                                     {"_fwrite", (void*)putBytes, NOTHING},
                                     {"_newlocale", (void*)makeLocale, NOTHING},
                                     {"_open", (void*)OPEN, MINUS_ONE},
                                     {"_puts", (void*)puts, MINUS_ONE},
                                     {"_snprintf", (void*)FORMAT_TEXT, MINUS_ONE},
                                     {"_snprintf_l", (void*)formatIn, MINUS_ONE},
                                     {"_strtod_l", (void*)readDouble, NEVER},
                                     {"_swprintf", (void*)swprintf, NEVER},
                                     {"_uselocale", (void*)succeed, NEVER},
                                     {"_vfprintf", (void*)formatListTo, MINUS_ONE},
                                     {"_vsnprintf", (void*)FORMAT_LIST, MINUS_ONE},
                                     SAME(memchr),
                                     SAME(memcmp),
                                     SAME(memcpy),
                                     SAME(memmove),
                                     SAME(memset),
                                     SAME(strchr),
                                     SAME(strcmp),
                                     SAME(strlen),
                                     SAME(strnlen),
                                     SAME(memmem),
                                     SAME(strncmp),
                                     SAME(strncpy),
                                     SAME(strrchr),
                                     SAME(strstr),
                                     SAME(strtod),
                                     SAME(strtof),
                                     SAME(strtol),
                                     SAME(strtold),
                                     SAME(strtoll),
                                     SAME(strtoul),
                                     SAME(strtoull),
                                     SAME(wcslen),
                                     SAME(wcstod),
                                     SAME(wcstof),
                                     SAME(wcstol),
                                     SAME(wcstold),
                                     SAME(wcstoll),
                                     SAME(wcstoul),
                                     SAME(wcstoull),
                                     SAME(wmemchr),
                                     SAME(wmemcmp),
                                     {NULL, NULL, UNKNOWN}};
