#include "arena.h"

#include <stddef.h>
#include <string.h>

/*
 * The arena is a row of blocks without gaps, each led by a header that says how much room it has:
 *
 *     | header | room | header | room        | header | room ...                |
 *       taken           free                   taken
 *
 * Knowing the room of every block is what makes grow cheap: it takes no step where a block has room
 * left, and where it has not the free block after it is joined to it. Blocks seldom move.
 */
enum { UNIT = 64, ARENA_BYTES = 1 << 20 };

typedef union Unit {
    struct {
        uint32_t room; /* in units, this one not counted */
        uint32_t taken;
    } header;
    uint8_t bytes[UNIT]; /* a header fills a unit, so that blocks are aligned to one */
} Unit;

static Unit arena[ARENA_BYTES / UNIT] __attribute__((aligned(UNIT)));
static Unit* const end = arena + sizeof arena / sizeof arena[0];
static Unit* peak = arena;

static Unit* next(Unit* block) {
    return block + 1 + block->header.room;
}

static uint32_t unitsOf(uint32_t bytes) {
    return bytes / UNIT + (bytes % UNIT != 0);
}

/* Joins the free blocks that follow to this one. */
static void join(Unit* block) {
    while (next(block) != end && !next(block)->header.taken)
        block->header.room += 1 + next(block)->header.room;
}

/* Gives the room above units, which the block has, back as a free block. */
static void take(Unit* block, uint32_t units) {
    block->header.taken = 1;
    if (block->header.room > units) {
        Unit* const rest = block + 1 + units;
        rest->header.room = block->header.room - units - 1;
        rest->header.taken = 0;
        block->header.room = units;
    }
    if (next(block) > peak)
        peak = next(block);
}

void arenaAllocate(void** out, uint32_t size, uint32_t alignment) {
    if (arena[0].header.room == 0) /* at the first call it is all zeros */
        arena[0].header.room = (uint32_t)(end - arena) - 1;
    *out = NULL;
    if (alignment > UNIT)
        return;
    for (Unit* block = arena; block != end; block = next(block)) {
        if (block->header.taken)
            continue;
        join(block);
        if (block->header.room >= unitsOf(size)) {
            take(block, unitsOf(size));
            *out = block + 1;
            return;
        }
    }
}

void arenaRelease(void** block) {
    ((Unit*)*block - 1)->header.taken = 0;
}

int32_t arenaGrow(void** inout, uint32_t oldSize, uint32_t newSize) {
    Unit* const block = (Unit*)*inout - 1;
    const uint32_t units = unitsOf(newSize);
    if (block->header.room >= units)
        return 0;
    join(block);
    if (block->header.room >= units) {
        take(block, units);
        return 0;
    }
    void* larger;
    arenaAllocate(&larger, newSize + newSize / 2, UNIT); /* so that it does not move soon again */
    if (larger == NULL)
        arenaAllocate(&larger, newSize, UNIT);
    if (larger == NULL) {
        take(block, unitsOf(oldSize));
        return -1;
    }
    memcpy(larger, *inout, oldSize);
    arenaRelease(inout);
    *inout = larger;
    return 0;
}

uint32_t arenaPeak(void) {
    return (uint32_t)(peak - arena) * UNIT;
}

void arenaForgetPeak(void) {
    peak = arena;
}
