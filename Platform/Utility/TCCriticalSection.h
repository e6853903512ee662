// SPDX-License-Identifier: MIT
// The recursive lock of the library, usable before any static initialiser ran.
#pragma once

#include <pthread.h>

#include "Platform/PlatformExport.h"

/// A recursive lock: the thread that holds it may enter again and leaves as often as it entered.
/// Constant-initialised and without a destructor to run, so that static objects of any file may
/// use it in their constructors and destructors.
/// All operations are safe on every thread.
class PROPERTY_PLATFORM_EXPORT TCCriticalSection {
 public:
  constexpr TCCriticalSection() noexcept = default;
  TCCriticalSection(TCCriticalSection const&) = delete;
  TCCriticalSection& operator=(TCCriticalSection const&) = delete;

  /// Waits at most `Timeout` milliseconds, not at all for 0, without limit for a negative value.
  /// Returns false, with nothing entered, when the time passed or the depth of entries overflowed.
  bool Enter(int Timeout = -1) noexcept {
    return Timeout < 0 ? pthread_mutex_lock(&m_Mutex) == 0 : EnterWithin(Timeout);
  }
  /// Undoes one Enter. Does nothing when the calling thread does not hold the lock.
  void Leave() noexcept { pthread_mutex_unlock(&m_Mutex); }
  /// Undoes one Enter of the thread that has forked, in its child: the thread has another id there,
  /// by which the lock is still held if it was entered more often.
  void LeaveInChild() noexcept;

 private:
  bool EnterWithin(int Timeout) noexcept;

  pthread_mutex_t m_Mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
};

/// Holds a TCCriticalSection while it lives; belongs to one thread.
class TCCriticalSectionLock {
 public:
  /// Waits without limit.
  explicit TCCriticalSectionLock(TCCriticalSection& Section) noexcept : m_Section(&Section) {
    m_Section->Enter();
  }
  ~TCCriticalSectionLock() { Leave(); }
  TCCriticalSectionLock(TCCriticalSectionLock const&) = delete;
  TCCriticalSectionLock& operator=(TCCriticalSectionLock const&) = delete;

  /// Leaves before the end of the scope; a second call does nothing.
  void Leave() noexcept {
    if (m_Section != nullptr) {
      m_Section->Leave();
      m_Section = nullptr;
    }
  }

 private:
  TCCriticalSection* m_Section;
};
