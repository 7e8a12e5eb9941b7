/* ICU's data for collation, in the place of the whole in libicudata.a. */
#include <unicode/utypes.h>

#define TEXT_OF(name) #name
#define TEXT(name) TEXT_OF(name)

__asm__(".section .rodata\n"
        ".balign 16\n"
        ".globl " TEXT(U_ICUDATA_ENTRY_POINT) "\n"
        ".type " TEXT(U_ICUDATA_ENTRY_POINT) ", %object\n"
        TEXT(U_ICUDATA_ENTRY_POINT) ":\n"
        ".incbin \"" TAVRIN_ICU_DATA "\"\n"
        ".size " TEXT(U_ICUDATA_ENTRY_POINT) ", .-" TEXT(U_ICUDATA_ENTRY_POINT) "\n"
        ".text\n");
