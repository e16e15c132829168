// Taking a mutex whose every holder keeps it for a few dozen instructions.
#pragma once

#include <mutex>

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

// Bounded spinning before blocking on a contended lock.
constexpr int kLockSpins = 16;

inline void relaxCpu() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
    asm volatile("yield");
#endif
}

// A caller that finds such a lock taken almost always gets it within a few
// tries; going to sleep in the kernel at once would cost it, and the thread
// that wakes it, microseconds, and on a loaded machine a wait for a core.
inline void lockBriefly(std::unique_lock<std::mutex>& lock) {
    for (int attempt = 0; attempt < kLockSpins; ++attempt) {
        if (lock.try_lock()) return;
        relaxCpu();
    }
    lock.lock();
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
