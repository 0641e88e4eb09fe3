/* Memory for the encoder out of one static array: the callbacks allocate, release and grow. */
#ifndef ARENA_H
#define ARENA_H

#include <stdint.h>

void arenaAllocate(void** out, uint32_t size, uint32_t alignment);
void arenaRelease(void** block);
int32_t arenaGrow(void** block, uint32_t oldSize, uint32_t newSize);

/* Bytes from the arena's start to the end of the farthest block so far; 0 again after the second. */
uint32_t arenaPeak(void);
void arenaForgetPeak(void);

#endif
