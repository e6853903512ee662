// SPDX-License-Identifier: MIT
// How a thread waits for the recursive lock, and is woken.
#include "Platform/Utility/TCCriticalSection.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <type_traits>

static_assert(std::is_trivially_destructible_v<TCCriticalSection>,
              "static objects use locks until the process ends");
static_assert(std::atomic<std::uint32_t>::is_always_lock_free &&
                  sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t),
              "the kernel reads the state as a number");

namespace {

// Looks in growing distances: who holds the lock is disturbed by each. In all no longer than it
// takes to sleep and be woken: 1,023 pauses, 80 us where one takes 80 ns (a shared virtual
// machine), and a few where it takes some nanoseconds. With 127 two threads that read all the time
// slept often: each read took 4.5 to 7 times what it takes one thread, and 2 to 6 times with 1,023.
constexpr int kLooks = 10;

void Pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__) || defined(__arm__)
  __asm__ __volatile__("yield");
#endif
}

// The call that takes the time as this program has it: 32-bit systems have two.
#ifdef SYS_futex_time64
constexpr long kFutex = sizeof(time_t) > sizeof(long) ? SYS_futex_time64 : SYS_futex;
#else
constexpr long kFutex = SYS_futex;
#endif

// The monotonic clock, so that setting the time of day neither stretches nor cuts a wait.
timespec DeadlineIn(int Milliseconds) noexcept {
  timespec Deadline;
  clock_gettime(CLOCK_MONOTONIC, &Deadline);
  Deadline.tv_sec += Milliseconds / 1000;
  Deadline.tv_nsec += (Milliseconds % 1000) * 1000000L;
  if (Deadline.tv_nsec >= 1000000000L) {
    Deadline.tv_nsec -= 1000000000L;
    ++Deadline.tv_sec;
  }
  return Deadline;
}

// False when the deadline has passed; a null one never does. May return before `State` has changed.
bool SleepWhile(std::atomic<std::uint32_t>& State, std::uint32_t Value,
                timespec const* Deadline) noexcept {
  long const Result = syscall(kFutex, &State, FUTEX_WAIT_BITSET_PRIVATE, Value, Deadline, nullptr,
                              FUTEX_BITSET_MATCH_ANY);
  return Result == 0 || errno != ETIMEDOUT;
}

}  // namespace

bool TCCriticalSection::Wait(int Timeout) noexcept {
  if (Timeout == 0) {
    return false;
  }
  if (LookAgain()) {
    return true;
  }
  int const Error = errno;
  timespec const Deadline = Timeout > 0 ? DeadlineIn(Timeout) : timespec();
  bool InTime = true;
  // Who takes it as wanted may be the only one who wants it: that costs one call too many.
  while (m_State.exchange(eWanted, std::memory_order_acquire) != eFree) {
    if (!InTime) {
      errno = Error;
      return false;
    }
    InTime = SleepWhile(m_State, eWanted, Timeout > 0 ? &Deadline : nullptr);
  }
  errno = Error;
  return true;
}

bool TCCriticalSection::LookAgain() noexcept {
  for (int Look = 0; Look < kLooks; ++Look) {
    for (int Count = 1 << Look; Count > 0; --Count) {
      Pause();
    }
    if (m_State.load(std::memory_order_relaxed) == eFree && TryTake()) {
      return true;
    }
  }
  return false;
}

void TCCriticalSection::WakeOne() noexcept {
  int const Error = errno;
  syscall(kFutex, &m_State, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
  errno = Error;
}
