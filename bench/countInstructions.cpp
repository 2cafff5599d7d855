// A plug-in of QEMU's user emulation: counts the instructions of the emulated process, in the first 8 bytes of the file
// PREFIX.PID, which may be read at any time. QEMU_PLUGIN=LIBRARY,prefix=PREFIX. Threads count without a lock: of what
// two of them do in the same moment, some may be missing.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <string>

// As QEMU's documentation of its plug-ins (version 1 of the interface) has them; Debian ships no header.
extern "C" {
struct qemu_plugin_tb;
using TranslationCallback = void (*)(std::uint64_t, qemu_plugin_tb*);
void qemu_plugin_register_vcpu_tb_trans_cb(std::uint64_t plugin, TranslationCallback callback);
std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_exec_inline(qemu_plugin_tb* block, int operation, void* counter, std::uint64_t value);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;
__attribute__((visibility("default"))) int qemu_plugin_install(std::uint64_t plugin, const void* machine, int count,
                                                               char** arguments);
}

namespace {

constexpr int kAdd = 0;
constexpr std::size_t kPage = 4096;

void* counter = nullptr;

// Each block that was translated counts as a whole whenever it runs.
void onTranslated(std::uint64_t /*plugin*/, qemu_plugin_tb* block) {
  qemu_plugin_register_vcpu_tb_exec_inline(block, kAdd, counter, qemu_plugin_tb_n_insns(block));
}

}  // namespace

int qemu_plugin_install(std::uint64_t plugin, const void* /*machine*/, int count, char** arguments) {
  const std::string option = count == 1 ? arguments[0] : "";
  const std::string file = option.substr(option.find('=') + 1) + "." + std::to_string(getpid());
  const int descriptor = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (descriptor == -1 || ftruncate(descriptor, kPage) != 0) {
    return 1;
  }
  counter = mmap(nullptr, kPage, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  close(descriptor);
  if (counter == MAP_FAILED) {
    return 1;
  }
  qemu_plugin_register_vcpu_tb_trans_cb(plugin, onTranslated);
  return 0;
}
