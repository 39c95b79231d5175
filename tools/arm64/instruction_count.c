/* A plugin for QEMU's user emulation that counts the instructions of the emulated program and prints how many there
 * were when it ends. QEMU's header of the interface comes in no package, so what is used of it is declared here (version
 * 1 of it, QEMU 4.2 and later). */

#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#define EXPORTED __attribute__((visibility("default")))

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, void (*translated)(qemu_plugin_id_t id,
                                                                                   struct qemu_plugin_tb* block));
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, enum qemu_plugin_op op, void* number,
                                              uint64_t value);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*ended)(qemu_plugin_id_t id, void* data), void* data);

EXPORTED extern const int qemu_plugin_version;
const int qemu_plugin_version = 1;

static uint64_t instructions;

static void translated(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &instructions,
                                             qemu_plugin_tb_n_insns(block));
}

static void ended(qemu_plugin_id_t id, void* data) {
    (void)id;
    (void)data;
    fprintf(stderr, "instructions: %" PRIu64 "\n", instructions);
}

EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int count, char** words);
int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int count, char** words) {
    (void)info;
    (void)count;
    (void)words;
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_atexit_cb(id, ended, NULL);
    return 0;
}
