/* The machine is a board: memory map, and what the linker knows. */
#include <stddef.h>

#include "machine.h"

uint32_t* mapMemory(void);

/* What the linker script names; addresses, no variables. */
extern uint8_t library_code_start[], library_code_end[];
extern uint8_t library_constants_start[], library_constants_end[];
extern uint8_t stack_bottom[];
extern uint8_t ram_start[], ram_end[];

static uint32_t sectionTable[4096] __attribute__((aligned(16384)));

/*
 * Addresses stay as they are, in sections of a megabyte. RAM is normal memory, cached and written back:
 * there, and only there, the processor allows the unaligned access that the library makes use of.
 */
uint32_t* mapMemory(void) {
    const uint32_t ram = 0x1c0e, device = 0x0c16; /* both: full access; device: not executable */
    const uintptr_t first = (uintptr_t)ram_start >> 20, behind = (uintptr_t)ram_end >> 20;
    for (uint32_t i = 0; i < 4096; i++)
        sectionTable[i] = i << 20 | (i >= first && i < behind ? ram : device);
    return sectionTable;
}

LibrarySize librarySize(void) {
    return (LibrarySize){(uint32_t)(library_code_end - library_code_start),
                         (uint32_t)(library_constants_end - library_constants_start)};
}

/* The stack is painted from its bottom to just below what is in use; what is used later loses its paint. */
static const uint32_t paint = 0xa5a5a5a5;
static uintptr_t watchedFrom;

void watchStack(void) {
    volatile uint32_t* word = (volatile uint32_t*)(void*)stack_bottom;
    watchedFrom = (uintptr_t)__builtin_frame_address(0);
    while ((uintptr_t)word < watchedFrom - 128)
        *word++ = paint;
}

uint32_t stackHighWater(void) {
    const volatile uint32_t* word = (const volatile uint32_t*)(void*)stack_bottom;
    while (*word == paint)
        word++;
    return watchedFrom - (uintptr_t)word;
}
