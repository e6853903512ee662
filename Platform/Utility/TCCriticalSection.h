// SPDX-License-Identifier: MIT
// The recursive lock of the library, usable before any static initialiser ran.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <limits>

#include "Platform/PlatformExport.h"
#include "Platform/Utility/ThreadAnnotations.h"

// gcc announces the thread sanitizer by a macro, clang by a feature.
#if defined(__has_feature)
#  if __has_feature(thread_sanitizer) && !defined(__SANITIZE_THREAD__)
#    define __SANITIZE_THREAD__ 1
#  endif
#endif
#ifdef __SANITIZE_THREAD__
#  include <sanitizer/tsan_interface.h>
#endif

/// A recursive lock: the thread that holds it may enter again and leaves as often as it entered.
/// Constant-initialised and without a destructor to run, so that static objects of any file may
/// use it in their constructors and destructors.
/// All operations are safe on every thread.
///
/// Entering and leaving are a few instructions while no other thread wants the lock. Who finds it
/// held looks again for some microseconds, since most holders leave sooner, and sleeps then. It is
/// not fair: who comes just after it was left may get in before those who sleep.
class PROPERTY_LOCK("critical section") PROPERTY_PLATFORM_EXPORT TCCriticalSection {
 public:
  constexpr TCCriticalSection() noexcept = default;
  TCCriticalSection(TCCriticalSection const&) = delete;
  TCCriticalSection& operator=(TCCriticalSection const&) = delete;

  /// Waits at most `Timeout` milliseconds, not at all for 0, without limit for a negative value.
  /// Returns false, with nothing entered, when the time passed or the depth of entries overflowed.
  bool Enter(int Timeout = -1) noexcept PROPERTY_MAY_ACQUIRE(true) {
    pthread_t const Self = pthread_self();
    if (m_Owner.load(std::memory_order_relaxed) == Self) {
      return EnterAgain();
    }
    if (!TryTake() && !Wait(Timeout)) {
      return false;
    }
    m_Owner.store(Self, std::memory_order_relaxed);
    SayEntered();
    return true;
  }
  /// Undoes one Enter. Does nothing when the calling thread does not hold the lock.
  void Leave() noexcept PROPERTY_RELEASES() {
    if (m_Owner.load(std::memory_order_relaxed) != pthread_self()) {
      return;
    }
    if (m_Again != 0) {
      --m_Again;
      return;
    }
    SayLeaving();
    m_Owner.store(pthread_t{}, std::memory_order_relaxed);
    if (m_State.exchange(eFree, std::memory_order_release) == eWanted) {
      WakeOne();
    }
  }
  /// Undoes one Enter of the thread that has forked, in its child.
  void LeaveInChild() noexcept PROPERTY_RELEASES() { Leave(); }

 private:
  // The kernel looks at it, hence its size.
  enum TEState : std::uint32_t {
    eFree,
    eHeld,
    eWanted  ///< held, and somebody may sleep until it is left
  };

  bool EnterAgain() noexcept {
    if (m_Again == std::numeric_limits<unsigned>::max()) {
      return false;
    }
    ++m_Again;
    return true;
  }
  bool TryTake() noexcept {
    std::uint32_t Free = eFree;
    return m_State.compare_exchange_strong(Free, eHeld, std::memory_order_acquire,
                                           std::memory_order_relaxed);
  }
  // To the thread sanitizer, which watches the order in which locks are taken.
  void SayEntered() noexcept {
#ifdef __SANITIZE_THREAD__
    __tsan_mutex_pre_lock(this, __tsan_mutex_linker_init);
    __tsan_mutex_post_lock(this, __tsan_mutex_linker_init, 0);
#endif
  }
  void SayLeaving() noexcept {
#ifdef __SANITIZE_THREAD__
    __tsan_mutex_pre_unlock(this, 0);
    __tsan_mutex_post_unlock(this, 0);
#endif
  }
  bool Wait(int Timeout) noexcept;
  bool LookAgain() noexcept;
  void WakeOne() noexcept;

  std::atomic<std::uint32_t> m_State{eFree};
  unsigned m_Again = 0;               // entries of the holder but the first
  std::atomic<pthread_t> m_Owner{0};  // 0 is no thread
};

/// Holds a TCCriticalSection while it lives; belongs to one thread.
class PROPERTY_SCOPED_LOCK TCCriticalSectionLock {
 public:
  /// Waits without limit.
  explicit TCCriticalSectionLock(TCCriticalSection& Section) noexcept PROPERTY_ACQUIRES(Section)
      : m_Section(&Section) {
    m_Section->Enter();
  }
  ~TCCriticalSectionLock() PROPERTY_RELEASES() { Leave(); }
  TCCriticalSectionLock(TCCriticalSectionLock const&) = delete;
  TCCriticalSectionLock& operator=(TCCriticalSectionLock const&) = delete;

  /// Leaves before the end of the scope; a second call does nothing.
  void Leave() noexcept PROPERTY_RELEASES() {
    if (m_Section != nullptr) {
      m_Section->Leave();
      m_Section = nullptr;
    }
  }

 private:
  TCCriticalSection* m_Section;
};
