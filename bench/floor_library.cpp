// A load behind a call into another shared library: the floor of any polled library function,
// which pays the same indirect call as is_set.
#include <atomic>

namespace {
std::atomic<bool> flag{false};
}

__attribute__((visibility("default"))) bool floor_library_load() noexcept { return flag.load(); }
