// SPDX-License-Identifier: MIT
// Tells, from another thread, whether the schema's lock is held and who waits for it.
#pragma once

#include <chrono>
#include <future>
#include <thread>
#include <utility>

#include "CommonProperties/TCBasicPropertyID.h"
#include "Platform/Utility/TCCriticalSection.h"

/// Whether another thread can enter the schema's lock at once.
inline bool IsSchemaLockFree() {
  bool Entered = false;
  std::thread([&] {
    Entered = Property::TCBasicPropertyID::m_CSection.Enter(0);
    if (Entered) {
      Property::TCBasicPropertyID::m_CSection.Leave();
    }
  }).join();
  return Entered;
}

/// Runs `Action` on another thread while this one holds the schema's lock, and tells whether it
/// comes to its end within `Limit`. Returns when it has.
template <class TAction>
bool EndsUnderHeldSchemaLock(TAction&& Action, std::chrono::milliseconds Limit) {
  TCCriticalSectionLock Lock(Property::TCBasicPropertyID::m_CSection);
  auto Done = std::async(std::launch::async, std::forward<TAction>(Action));
  bool const Ended = Done.wait_for(Limit) == std::future_status::ready;
  Lock.Leave();
  Done.get();
  return Ended;
}

/// An action that takes the lock never ends before it is released, however long the limit.
template <class TAction>
bool TakesSchemaLock(TAction&& Action) {
  return !EndsUnderHeldSchemaLock(std::forward<TAction>(Action), std::chrono::milliseconds(20));
}

/// An action that takes no lock ends; the limit only bounds a failing test.
template <class TAction>
bool TakesNoSchemaLock(TAction&& Action) {
  return EndsUnderHeldSchemaLock(std::forward<TAction>(Action), std::chrono::seconds(30));
}
