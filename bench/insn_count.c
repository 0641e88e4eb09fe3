/* A plugin of the user-mode emulator that counts the instructions a program executes: a measure of
 * work that repeats exactly, for machines that are not at hand.
 *
 *     qemu-arm -L /usr/arm-linux-gnueabihf -plugin insn_count.so PROGRAM ARGUMENTS
 *
 * prints "instructions: N" on standard error when the program has ended.
 *
 * Debian's emulator comes without its plugin header, so the few declarations needed of its plugin
 * interface, version 1, stand here. */
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#define EXPORT __attribute__((visibility("default")))

typedef uint64_t PluginId;
struct qemu_plugin_tb; /* a translated block: instructions that are executed one after another */

enum { INLINE_ADD_U64 = 0 };

extern size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
extern void qemu_plugin_register_vcpu_tb_trans_cb(PluginId id,
                                                  void (*callback)(PluginId,
                                                                   struct qemu_plugin_tb*));
extern void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, int operation,
                                                     void* counter, uint64_t amount);
extern void qemu_plugin_register_atexit_cb(PluginId id, void (*callback)(PluginId, void*),
                                           void* userData);

EXPORT extern int qemu_plugin_version;
EXPORT int qemu_plugin_version = 1;
EXPORT int qemu_plugin_install(PluginId id, const void* info, int argc, char** argv);

static uint64_t executed;

/* Every later execution of the block adds its length. */
static void onTranslation(PluginId id, struct qemu_plugin_tb* block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, INLINE_ADD_U64, &executed,
                                             qemu_plugin_tb_n_insns(block));
}

static void onExit(PluginId id, void* userData) {
    (void)id;
    (void)userData;
    fprintf(stderr, "instructions: %" PRIu64 "\n", executed);
}

int qemu_plugin_install(PluginId id, const void* info, int argc, char** argv) {
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, onTranslation);
    qemu_plugin_register_atexit_cb(id, onExit, NULL);
    return 0;
}
