/*
 * The memory callbacks of the examples, in C and C++: allocate, release, and a grow that does not copy a
 * block at each of its small steps. Each block begins with a header that says how much room it has.
 */
#ifndef HOST_MEMORY_H
#define HOST_MEMORY_H

#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

/* Bytes before each block. The library asks for alignments of 4, 8 and 32; malloc gives 8 or 16. */
enum { HOST_ALIGNMENT = 32, HOST_HEADER = 2 * HOST_ALIGNMENT };

/* All that is under allocate's and grow's hands at present, and the most that ever was: one encoder at a
 * time. */
static size_t hostBytes, hostMostBytes;

/* What lies right before a block: where its memory begins, and how many bytes it can hold. */
typedef struct {
    void* memory;
    size_t room;
} HostHeader;

static inline HostHeader hostHeader(const void* block) {
    HostHeader header;
    memcpy(&header, (const uint8_t*)block - sizeof header, sizeof header);
    return header;
}

static inline void* hostNewBlock(size_t room) {
    HostHeader header;
    header.memory = malloc(HOST_HEADER + room);
    header.room = room;
    if (header.memory == NULL)
        return NULL;
    uint8_t* block = (uint8_t*)header.memory + HOST_ALIGNMENT;
    block += HOST_ALIGNMENT - (uintptr_t)block % HOST_ALIGNMENT;
    memcpy(block - sizeof header, &header, sizeof header);
    hostBytes += room;
    if (hostMostBytes < hostBytes)
        hostMostBytes = hostBytes;
    return block;
}

static inline void hostAllocate(void** out, uint32_t size, uint32_t alignment) {
    *out = alignment <= HOST_ALIGNMENT ? hostNewBlock(size) : NULL;
}

static inline void hostRelease(void** block) {
    const HostHeader header = hostHeader(*block);
    hostBytes -= header.room;
    free(header.memory);
}

/* Called in progressive mode alone. The steps are 1 or 4 KiB: a block that has to move takes half as much
 * again, so that its bytes are copied a few times in all, however large it gets. */
static inline int32_t hostGrow(void** block, uint32_t oldSize, uint32_t newSize) {
    if (newSize <= hostHeader(*block).room)
        return 0;
    void* const larger = hostNewBlock((size_t)newSize + newSize / 2);
    if (larger == NULL)
        return -1;
    memcpy(larger, *block, oldSize);
    hostRelease(block);
    *block = larger;
    return 0;
}

#endif
