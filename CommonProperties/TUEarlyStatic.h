// SPDX-License-Identifier: MIT
// Room for a static object that other static objects may need before its file's initialisers run.
#pragma once

namespace Property {

/// Holds no object until somebody builds one in place, and never destroys it: threads may use it
/// while the process ends. Constant-initialised, so a reference to the object's place can be too.
template <class T>
union TUEarlyStatic {
  constexpr TUEarlyStatic() noexcept : m_Empty() {}
  ~TUEarlyStatic() {}

  char m_Empty;
  T m_Object;
};

}  // namespace Property
