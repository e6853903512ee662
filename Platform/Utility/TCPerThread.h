// SPDX-License-Identifier: MIT
// Objects that each thread has one of, also while the process ends.
#pragma once

#include <pthread.h>

#include <utility>

/// The calling thread's T, made when it is first asked for. Not a `thread_local T`, because those
/// of the main thread are destroyed before the exit handlers and the destructors of static objects
/// run, which use the library too. What they make again stays until the process has ended; in
/// every other thread it is destroyed with the thread, whoever made it last.
template <class T>
class TCPerThread {
 public:
  static T& Get() {
    if (m_Object == nullptr) {
      T* const Object = new T;
      DropWithThread();
      m_Object = Object;
    }
    return *m_Object;
  }

  /// Destroys it; the next one is a new one.
  static void Drop() { delete std::exchange(m_Object, nullptr); }

 private:
  struct TSEnd {
    TSEnd() = default;
    TSEnd(TSEnd const&) = delete;
    TSEnd& operator=(TSEnd const&) = delete;
    ~TSEnd() {
      m_Ended = true;
      Drop();
    }
  };

  /// The object of a thread whose thread_local objects are being destroyed is left to a key: keys
  /// are the last that a thread gives up, and it asks theirs again for what others made meanwhile.
  static void DropWithThread() {
    if (!m_Ended) {
      thread_local TSEnd const End;
      static_cast<void>(End);
      return;
    }
    static TSKey const Key;
    if (Key.m_Made) {
      pthread_setspecific(Key.m_Key, &Key);
    }
  }

  /// Without one, because the process has too many, the object stays until the process ends.
  struct TSKey {
    pthread_key_t m_Key = 0;
    bool const m_Made = pthread_key_create(&m_Key, [](void*) { Drop(); }) == 0;
  };

  static inline thread_local T* m_Object = nullptr;
  static inline thread_local bool m_Ended = false;
};
