// Finds what an import is bound to. If calls are counted or made to fail, each goes through a gate first.
#include <sys/mman.h>

#include "machrun.h"

static const struct Import* const parts[] = {memoryImports,  fileImports, processImports,
                                             desktopImports, textImports, unwindImports};

static const struct Import* find(const char* name) {
  for (size_t i = 0; i < sizeof parts / sizeof *parts; ++i) {
    for (const struct Import* each = parts[i]; each->name; ++each) {
      if (strcmp(each->name, name) == 0) return each;
    }
  }
  return NULL;
}

enum Failure failureOf(const char* name) {
  const struct Import* const import = find(name);
  return import ? import->failure : UNKNOWN;
}

// What was bound, in the order of binding.
static struct Bound {
  const char* name;
  const struct Import* import;  // null: it is missing here
  long calls;
  void* stub;
} bound[1024];
static int boundCount;
static long failedCall;
static const char* failedName;

static long failWithMinusOne(void) {
  macErrno = 5;
  return -1;
}

static void* failWithNothing(void) {
  macErrno = 12;
  return NULL;
}

static int failWithNumber(void) {
  return 22;
}

// Called by the gate. Returns the function that the call goes on to.
void* chooseFunction(struct Bound* called) {
  if (called->import == NULL) DIE("%s is called, which is not here", called->name);
  if (++called->calls != failedCall || failedName == NULL || strcmp(called->name, failedName) != 0)
    return called->import->address;
  TRACE("%s is made to fail", called->name);
  switch (called->import->failure) {
    case MINUS_ONE:
      return (void*)failWithMinusOne;
    case NOTHING:
      return (void*)failWithNothing;
    case NUMBER:
      return (void*)failWithNumber;
    default:
      DIE("%s cannot fail", called->name);
  }
}

// The gate keeps every register in which arguments are passed. A stub comes here with the import in a
// register that no call uses.
void gate(void);
#if defined(__x86_64__)
__asm__(
    "gate:\n"
    " push %rbp\n mov %rsp, %rbp\n sub $192, %rsp\n"
    " mov %rdi, (%rsp)\n mov %rsi, 8(%rsp)\n mov %rdx, 16(%rsp)\n mov %rcx, 24(%rsp)\n mov %r8, 32(%rsp)\n"
    " mov %r9, 40(%rsp)\n mov %rax, 48(%rsp)\n"
    " movups %xmm0, 64(%rsp)\n movups %xmm1, 80(%rsp)\n movups %xmm2, 96(%rsp)\n movups %xmm3, 112(%rsp)\n"
    " movups %xmm4, 128(%rsp)\n movups %xmm5, 144(%rsp)\n movups %xmm6, 160(%rsp)\n movups %xmm7, 176(%rsp)\n"
    " mov %r11, %rdi\n call chooseFunction\n mov %rax, %r11\n"
    " mov (%rsp), %rdi\n mov 8(%rsp), %rsi\n mov 16(%rsp), %rdx\n mov 24(%rsp), %rcx\n mov 32(%rsp), %r8\n"
    " mov 40(%rsp), %r9\n mov 48(%rsp), %rax\n"
    " movups 64(%rsp), %xmm0\n movups 80(%rsp), %xmm1\n movups 96(%rsp), %xmm2\n movups 112(%rsp), %xmm3\n"
    " movups 128(%rsp), %xmm4\n movups 144(%rsp), %xmm5\n movups 160(%rsp), %xmm6\n movups 176(%rsp), %xmm7\n"
    " leave\n jmp *%r11\n");
#else
__asm__(
    "gate:\n"
    " stp x29, x30, [sp, #-224]!\n mov x29, sp\n"
    " stp x0, x1, [sp, #16]\n stp x2, x3, [sp, #32]\n stp x4, x5, [sp, #48]\n stp x6, x7, [sp, #64]\n str "
    "x8, [sp, #80]\n"
    " stp q0, q1, [sp, #96]\n stp q2, q3, [sp, #128]\n stp q4, q5, [sp, #160]\n stp q6, q7, [sp, #192]\n"
    " mov x0, x16\n bl chooseFunction\n mov x16, x0\n"
    " ldp x0, x1, [sp, #16]\n ldp x2, x3, [sp, #32]\n ldp x4, x5, [sp, #48]\n ldp x6, x7, [sp, #64]\n ldr "
    "x8, [sp, #80]\n"
    " ldp q0, q1, [sp, #96]\n ldp q2, q3, [sp, #128]\n ldp q4, q5, [sp, #160]\n ldp q6, q7, [sp, #192]\n"
    " ldp x29, x30, [sp], #224\n br x16\n");
#endif

static void* stubFor(struct Bound* import) {
  enum { STUB = 32, ROOM = STUB * (int)(sizeof bound / sizeof *bound) };
  static unsigned char* stubs;
  void* const to = (void*)gate;
  if (stubs == NULL)
    stubs = mmap(NULL, ROOM, PROT_READ | PROT_WRITE | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (stubs == MAP_FAILED) DIE("there is no memory for stubs");
  unsigned char* const at = stubs + STUB * (import - bound);
#if defined(__x86_64__)
  // mov $import, %r11; mov $gate, %r10; jmp *%r10
  memcpy(at, "\x49\xbb", 2);
  memcpy(at + 2, &import, 8);
  memcpy(at + 10, "\x49\xba", 2);
  memcpy(at + 12, &to, 8);
  memcpy(at + 20, "\x41\xff\xe2", 3);
#else
  // ldr x16, at + 16; ldr x17, at + 24; br x17
  const uint32_t code[] = {0x58000090, 0x580000b1, 0xd61f0220, 0};
  memcpy(at, code, 16);
  memcpy(at + 16, &import, 8);
  memcpy(at + 24, &to, 8);
  __builtin___clear_cache((char*)at, (char*)at + STUB);
#endif
  return at;
}

static int isVariable(const char* name) {
  return strcmp(name, "_environ") == 0 || strcmp(name, "___stderrp") == 0 ||
         strcmp(name, "___stdoutp") == 0 || strcmp(name, "__DefaultRuneLocale") == 0;
}

void* bindImport(const char* name) {
  static int isGated = -1;
  if (isGated < 0) {
    const char* const failure = getenv("MACHRUN_FAIL");
    isGated = failure != NULL || getenv("MACHRUN_CALLS") != NULL;
    if (failure != NULL) {
      const char* const at = strrchr(failure, '@');
      if (at == NULL) DIE("MACHRUN_FAIL is not NAME@N");
      failedName = strndup(failure, (size_t)(at - failure));
      failedCall = atol(at + 1);
    }
  }
  const struct Import* const import = find(name);
  if (import != NULL && (!isGated || isVariable(name) || import->failure == NEVER)) return import->address;
  for (int i = 0; i < boundCount; ++i) {
    if (strcmp(bound[i].name, name) == 0) return bound[i].stub;
  }
  if (boundCount == (int)(sizeof bound / sizeof *bound)) DIE("there are too many imports");
  if (import == NULL) TRACE("there is no %s here", name);
  struct Bound* const added = &bound[boundCount++];
  *added = (struct Bound){.name = name, .import = import};
  return added->stub = stubFor(added);
}

void writeCalls(void) {
  const char* const path = getenv("MACHRUN_CALLS");
  FILE* const file = path ? fopen(path, "we") : NULL;
  if (file == NULL) return;
  for (int i = 0; i < boundCount; ++i) fprintf(file, "%ld %s\n", bound[i].calls, bound[i].name);
  fclose(file);
}

int findInList(const char* variable, const char* name, char* value, size_t size) {
  const char* list = getenv(variable);
  const size_t length = strlen(name);
  while (list != NULL && *list) {
    const size_t entry = strcspn(list, ",");
    if (strncmp(list, name, length) == 0 && list[length] == '=') {
      snprintf(value, size, "%.*s", (int)(entry - length - 1), list + length + 1);
      return 1;
    }
    list += entry + (list[entry] == ',');
  }
  return 0;
}
