// The instruction sets of this build, best first; the build defines which family of kernels it has for the
// files that include this: those that declare each one's table, and list them.
#pragma once

#if defined VELA_X86_KERNELS
#define VELA_INSTRUCTION_SETS(use) use(avx512vbmi) use(avx512) use(avx2) use(sse41) use(plain)
#elif defined VELA_NEON_KERNELS
#define VELA_INSTRUCTION_SETS(use) use(neon) use(plain)
#else
#define VELA_INSTRUCTION_SETS(use) use(plain)
#endif
