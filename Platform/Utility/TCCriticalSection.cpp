// SPDX-License-Identifier: MIT
// The timed wait of the recursive lock, and its way over a fork.
#include "Platform/Utility/TCCriticalSection.h"

#include <time.h>
#include <unistd.h>

#include <type_traits>

// gcc announces the thread sanitizer by a macro, clang by a feature.
#if defined(__has_feature)
#  if __has_feature(thread_sanitizer) && !defined(__SANITIZE_THREAD__)
#    define __SANITIZE_THREAD__ 1
#  endif
#endif

static_assert(std::is_trivially_destructible_v<TCCriticalSection>,
              "static objects use locks until the process ends");

namespace {

// The monotonic clock, so that setting the time of day neither stretches nor cuts a wait. The
// thread sanitizer knows no wait on that clock and would report the lock as never taken.
#ifdef __SANITIZE_THREAD__
constexpr clockid_t kClock = CLOCK_REALTIME;
int LockUntil(pthread_mutex_t& Mutex, timespec const& Deadline) noexcept {
  return pthread_mutex_timedlock(&Mutex, &Deadline);
}
#else
constexpr clockid_t kClock = CLOCK_MONOTONIC;
int LockUntil(pthread_mutex_t& Mutex, timespec const& Deadline) noexcept {
  return pthread_mutex_clocklock(&Mutex, kClock, &Deadline);
}
#endif

}  // namespace

void TCCriticalSection::LeaveInChild() noexcept {
  m_Mutex.__data.__owner = gettid();  // a recursive lock knows its owner by the kernel's id
  Leave();
}

bool TCCriticalSection::EnterWithin(int Timeout) noexcept {
  if (Timeout == 0) {
    return pthread_mutex_trylock(&m_Mutex) == 0;
  }
  timespec Deadline;
  clock_gettime(kClock, &Deadline);
  Deadline.tv_sec += Timeout / 1000;
  Deadline.tv_nsec += (Timeout % 1000) * 1000000L;
  if (Deadline.tv_nsec >= 1000000000L) {
    Deadline.tv_nsec -= 1000000000L;
    ++Deadline.tv_sec;
  }
  return LockUntil(m_Mutex, Deadline) == 0;
}
