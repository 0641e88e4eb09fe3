/* Files and text go to the machine that emulates or debugs the board, by Arm's semihosting. */
#include <string.h>

#include "machine.h"

enum { SYS_OPEN = 1, SYS_CLOSE = 2, SYS_WRITE0 = 4, SYS_WRITE = 5 };
enum { MODE_WRITE_BINARY = 5 };

int32_t semihosting(uint32_t operation, const void* block);

int32_t openFile(const char* name) {
    const uint32_t block[3] = {(uint32_t)(uintptr_t)name, MODE_WRITE_BINARY,
                               (uint32_t)strlen(name)};
    return semihosting(SYS_OPEN, block);
}

int32_t writeFile(int32_t file, const uint8_t* bytes, int32_t count) {
    const uint32_t block[3] = {(uint32_t)file, (uint32_t)(uintptr_t)bytes, (uint32_t)count};
    return count - semihosting(SYS_WRITE, block); /* it tells how many it did not write */
}

int32_t closeFile(int32_t file) {
    const uint32_t block[1] = {(uint32_t)file};
    return semihosting(SYS_CLOSE, block);
}

void print(const char* text) {
    semihosting(SYS_WRITE0, text);
}
