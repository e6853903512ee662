// SPDX-License-Identifier: MIT
// A mutex that the thread-safety analysis knows, and what holds it.
#pragma once

#include <condition_variable>
#include <mutex>

#include "Platform/Utility/ThreadAnnotations.h"

/// std::mutex, which the standard library does not annotate.
class PROPERTY_LOCK("mutex") TCMutex {
 public:
  TCMutex() = default;
  TCMutex(TCMutex const&) = delete;
  TCMutex& operator=(TCMutex const&) = delete;

  /// For who holds it beyond a scope, around a fork.
  void Enter() PROPERTY_ACQUIRES() { m_Mutex.lock(); }
  void Leave() PROPERTY_RELEASES() { m_Mutex.unlock(); }

  /// Tells the analysis, where it can not see it, that the calling thread holds the mutex.
  void SayHeld() const PROPERTY_ASSERTS_HELD() {}

 private:
  friend class TCMutexLock;

  std::mutex m_Mutex;
};

/// Holds a TCMutex while it lives, except between Leave() and Enter(). Belongs to one thread.
class PROPERTY_SCOPED_LOCK TCMutexLock {
 public:
  explicit TCMutexLock(TCMutex& Mutex) PROPERTY_ACQUIRES(Mutex) : m_Lock(Mutex.m_Mutex) {}
  ~TCMutexLock() PROPERTY_RELEASES() = default;
  TCMutexLock(TCMutexLock const&) = delete;
  TCMutexLock& operator=(TCMutexLock const&) = delete;

  void Leave() PROPERTY_RELEASES() { m_Lock.unlock(); }
  void Enter() PROPERTY_ACQUIRES() { m_Lock.lock(); }

  /// Leaves the mutex until `Changed` is told, or until `Deadline`, and holds it again then. Wakes
  /// without a reason as well: the caller looks again at what it waits for.
  void Wait(std::condition_variable& Changed) { Changed.wait(m_Lock); }
  template <typename TDeadline>
  void WaitUntil(std::condition_variable& Changed, TDeadline const& Deadline) {
    Changed.wait_until(m_Lock, Deadline);
  }

 private:
  std::unique_lock<std::mutex> m_Lock;
};
