// Exceptions: LLVM's libunwind asks here where the unwind tables of an address are.
#include <link.h>

#include "machrun.h"

struct UnwindSections unwinding;
uintptr_t imageStart, imageEnd;

static const char* ownTables;
static uintptr_t ownStart, ownEnd;

static int findOwn(struct dl_phdr_info* info, size_t size, void* data) {
  (void)size;
  (void)data;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)* header = &info->dlpi_phdr[i];
    if (header->p_type == PT_GNU_EH_FRAME) ownTables = (const char*)info->dlpi_addr + header->p_vaddr;
    if (header->p_type == PT_LOAD && (header->p_flags & PF_X)) {
      ownStart = info->dlpi_addr + header->p_vaddr;
      ownEnd = ownStart + header->p_memsz;
    }
  }
  return 1;  // machrun itself comes first
}

_Bool _dyld_find_unwind_sections(void* address, struct UnwindSections* found) {
  const uintptr_t at = (uintptr_t)address;
  if (at >= imageStart && at < imageEnd) {
    *found = unwinding;
    return 1;
  }
  // The first frame is that of _Unwind_RaiseException, in machrun.
  if (ownTables == NULL) dl_iterate_phdr(findOwn, NULL);
  if (at < ownStart || at >= ownEnd) return 0;
  int32_t offset;
  memcpy(&offset, ownTables + 4, sizeof offset);
  *found = (struct UnwindSections){(void*)ownStart, ownTables + 4 + offset, 1 << 20, NULL, 0};
  return 1;
}

#define UNWIND(name) \
  { "_" #name, (void*)name, NEVER }
extern void _Unwind_DeleteException(void), _Unwind_GetIP(void), _Unwind_GetLanguageSpecificData(void),
    _Unwind_GetRegionStart(void), _Unwind_RaiseException(void), _Unwind_Resume(void), _Unwind_SetGR(void),
    _Unwind_SetIP(void);

const struct Import unwindImports[] = {
    UNWIND(_Unwind_DeleteException), UNWIND(_Unwind_GetIP),          UNWIND(_Unwind_GetLanguageSpecificData),
    UNWIND(_Unwind_GetRegionStart),  UNWIND(_Unwind_RaiseException), UNWIND(_Unwind_Resume),
    UNWIND(_Unwind_SetGR),           UNWIND(_Unwind_SetIP),          {NULL, NULL, UNKNOWN}};
