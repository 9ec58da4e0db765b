// Sleeping on a 32-bit atomic word and waking its sleepers, straight to the
// kernel where there is one to ask. std::atomic::wait (libstdc++) first spins,
// yielding the processor several times before it sleeps: with more threads
// than processors each yield is a system call and a context switch, taken
// from the very thread being waited for.
#pragma once

#include <atomic>
#include <cstdint>

#if defined(__linux__)
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

#include <climits>

namespace zorlan::detail {

// Sleeps while `word` holds `expected`. May also return without a change, so
// callers check again.
inline void futexWait(std::atomic<std::uint32_t>& word, std::uint32_t expected) noexcept {
#if defined(__linux__)
  static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));
  ::syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAIT_PRIVATE, expected,
            nullptr, nullptr, 0);
#else
  word.wait(expected, std::memory_order_relaxed);
#endif
}

// Wakes up to `count` threads sleeping on `word`.
inline void futexWake(std::atomic<std::uint32_t>& word, int count) noexcept {
#if defined(__linux__)
  ::syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAKE_PRIVATE, count, nullptr,
            nullptr, 0);
#else
  if (count == 1) {
    word.notify_one();
  } else {
    word.notify_all();
  }
#endif
}

inline void futexWakeOne(std::atomic<std::uint32_t>& word) noexcept { futexWake(word, 1); }
inline void futexWakeAll(std::atomic<std::uint32_t>& word) noexcept { futexWake(word, INT_MAX); }

}  // namespace zorlan::detail
