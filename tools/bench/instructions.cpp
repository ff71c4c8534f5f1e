// A plug-in for QEMU's user emulation: counts the instructions of the emulated program and tells it
// their number when it asks, by a write to a descriptor that it cannot have (meters.py).
//
// QEMU's header for plug-ins is not part of Debian's packages; these are the functions used of
// version 1 of that interface.
#include <unistd.h>

#include <cinttypes>
#include <cstdio>

namespace {

constexpr std::int64_t kCounter = 1000000;   // descriptors from here on are questions
constexpr std::int64_t kWriteOnMips = 4004;  // the numbers of the system call write
constexpr std::int64_t kWriteOnArm = 4;

std::uint64_t instructions = 0;

}  // namespace

extern "C" {

using qemu_plugin_id_t = std::uint64_t;
struct qemu_plugin_tb;
struct qemu_info_t;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*callback)(qemu_plugin_id_t, qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(qemu_plugin_tb* block, qemu_plugin_op operation,
                                              void* number, std::uint64_t addend);
void qemu_plugin_register_vcpu_syscall_cb(
    qemu_plugin_id_t id,
    void (*callback)(qemu_plugin_id_t, unsigned vcpu, std::int64_t number, std::uint64_t,
                     std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t,
                     std::uint64_t, std::uint64_t));
std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;

__attribute__((visibility("default"))) int qemu_plugin_install(qemu_plugin_id_t id,
                                                               const qemu_info_t* /*info*/,
                                                               int /*argc*/, char** /*argv*/) {
  qemu_plugin_register_vcpu_tb_trans_cb(id, [](qemu_plugin_id_t, qemu_plugin_tb* block) {
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &instructions,
                                             qemu_plugin_tb_n_insns(block));
  });
  qemu_plugin_register_vcpu_syscall_cb(
      id,
      [](qemu_plugin_id_t, unsigned, std::int64_t number, std::uint64_t descriptor, std::uint64_t,
         std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
        const auto asked = static_cast<std::int64_t>(descriptor) - kCounter;
        if ((number == kWriteOnMips || number == kWriteOnArm) && asked > 0 && asked < kCounter) {
          // A program's descriptors are those of the emulator.
          dprintf(static_cast<int>(asked), "%" PRIu64, instructions);
        }
      });
  return 0;
}

}  // extern "C"
