/* What the program needs of the machine that it runs on: board.c and semihosting.c for a bare one, host.c else. */
#ifndef MACHINE_H
#define MACHINE_H

#include <stdint.h>

/* A file to write: a handle, or a negative number. */
int32_t openFile(const char* name);
/* The number of bytes that were written. */
int32_t writeFile(int32_t file, const uint8_t* bytes, int32_t count);
int32_t closeFile(int32_t file); /* 0 for success */
void print(const char* text);

/* The library's own bytes; both 0 where nobody knows. */
typedef struct LibrarySize {
    uint32_t code, constants;
} LibrarySize;
LibrarySize librarySize(void);

/* The most bytes of stack in use since the last call of the first; 0 where nobody knows. */
void watchStack(void);
uint32_t stackHighWater(void);

#endif
