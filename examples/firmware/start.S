/* From reset to main: one core, Cortex-A with NEON, all in RAM. */
    .syntax unified
    .arm

/* ------------------------------------------------------------------------------- vector table */

    .section .vectors, "ax"
    .global _start
_start:
    b reset
    b fault             /* undefined instruction: NEON that is off, for one */
    b fault             /* supervisor call */
    b fault             /* prefetch abort */
    b fault             /* data abort: an unaligned access while the MMU is off, for one */
    b fault
    b fault             /* interrupts: none is enabled */
    b fault

/* -------------------------------------------------------------------------------------- reset */

    .text
reset:
    mrc p15, 0, r0, c0, c0, 5   /* MPIDR: the first core goes on, the others sleep */
    ands r0, r0, #3
sleep:
    wfine
    bne sleep

    ldr r0, =_start
    mcr p15, 0, r0, c12, c0, 0  /* VBAR */
    cps #0x17                   /* abort mode and */
    ldr sp, =fault_stack_top
    cps #0x1b                   /* undefined mode: the stack of faults */
    ldr sp, =fault_stack_top
    cps #0x13                   /* supervisor mode, in which everything runs */
    ldr sp, =stack_top

    bl invalidate_caches

    mrc p15, 0, r0, c1, c0, 2   /* CPACR: full access to NEON (coprocessors 10 and 11) */
    orr r0, r0, #0xf << 20
    mcr p15, 0, r0, c1, c0, 2
    isb
    mov r0, #1 << 30            /* FPEXC.EN */
    vmsr fpexc, r0

    ldr r0, =bss_start
    ldr r1, =bss_end
    mov r2, #0
clear:
    cmp r0, r1
    strlo r2, [r0], #4
    blo clear

    bl mapMemory                /* fills sectionTable; r0: its address */
    mcr p15, 0, r0, c2, c0, 0   /* TTBR0 */
    mov r0, #0
    mcr p15, 0, r0, c2, c0, 2   /* TTBCR: TTBR0 for all addresses */
    mcr p15, 0, r0, c8, c7, 0   /* TLB invalidated */
    ldr r0, =0x55555555
    mcr p15, 0, r0, c3, c0, 0   /* DACR: every domain is checked */
    dsb
    isb
    mrc p15, 0, r0, c1, c0, 0   /* SCTLR: MMU, data cache, branch prediction, instruction cache on; */
    ldr r1, =0x1805
    orr r0, r0, r1
    bic r0, r0, #2              /* unaligned access is allowed: A off */
    mcr p15, 0, r0, c1, c0, 0
    isb

    bl main
    cmp r0, #0
    moveq r0, #1
    movne r0, #0
    b leave

/* After power-on the caches hold anything: the data cache is invalidated line by line. */
invalidate_caches:
    mov r0, #0
    mcr p15, 0, r0, c7, c5, 0   /* instruction cache */
    mcr p15, 0, r0, c7, c5, 6   /* branch predictor */
    mcr p15, 2, r0, c0, c0, 0   /* CSSELR: the data cache of level 1 */
    isb
    mrc p15, 1, r0, c0, c0, 0   /* CCSIDR: its shape */
    and r1, r0, #7
    add r1, r1, #4              /* log2 of the bytes of a line */
    ubfx r2, r0, #3, #10        /* ways - 1 */
    ubfx r3, r0, #13, #15       /* sets - 1 */
    clz r4, r2                  /* where the way stands in an address */
next_set:
    mov r5, r2
next_way:
    lsl r6, r5, r4
    orr r6, r6, r3, lsl r1
    mcr p15, 0, r6, c7, c6, 2   /* DCISW */
    subs r5, r5, #1
    bge next_way
    subs r3, r3, #1
    bge next_set
    dsb
    isb
    bx lr

/* ------------------------------------------------------------------------------- semihosting */

fault:
    mov r0, #0
    b leave

/* r0: whether all went well. Ends the program, and the emulator. */
leave:
    cmp r0, #0
    ldrne r1, =0x20026          /* ADP_Stopped_ApplicationExit */
    ldreq r1, =0x20023          /* ADP_Stopped_RunTimeErrorUnknown */
    mov r0, #0x18               /* SYS_EXIT */
    svc #0x123456
    b .

/* int32_t semihosting(uint32_t operation, const void* block) */
    .global semihosting
    .type semihosting, %function
semihosting:
    push {r4, lr}               /* in supervisor mode a call overwrites lr */
    svc #0x123456
    pop {r4, pc}

    .section .note.GNU-stack, "", %progbits
