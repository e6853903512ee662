// SPDX-License-Identifier: MIT
// Objects that each thread has one of, also while the process ends.
#pragma once

#include <utility>

/// The calling thread's T, made when it is first asked for. Not a `thread_local T`, because those
/// of the main thread are destroyed before the exit handlers and the destructors of static objects
/// run, which use the library too. What they make again stays until the process has ended.
template <class T>
class TCPerThread {
 public:
  static T& Get() {
    if (m_Object == nullptr) {
      if (!m_Ended) {
        thread_local TSEnd const End;
        static_cast<void>(End);
      }
      m_Object = new T;
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

  static inline thread_local T* m_Object = nullptr;
  static inline thread_local bool m_Ended = false;
};
