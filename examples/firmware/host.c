/* The machine is the one that you work on: the same pictures, to compare with. */
#include <stdio.h>

#include "machine.h"

static FILE* file;

int32_t openFile(const char* name) {
    file = fopen(name, "wb");
    return file != NULL ? 1 : -1;
}

int32_t writeFile(int32_t handle, const uint8_t* bytes, int32_t count) {
    (void)handle;
    return (int32_t)fwrite(bytes, 1, (size_t)count, file);
}

int32_t closeFile(int32_t handle) {
    (void)handle;
    return fclose(file);
}

void print(const char* text) {
    fputs(text, stdout);
}

LibrarySize librarySize(void) {
    return (LibrarySize){0, 0};
}

void watchStack(void) {}

uint32_t stackHighWater(void) {
    return 0;
}
