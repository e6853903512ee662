// SPDX-License-Identifier: MIT
// The loop that serves a router's connections, and whose turn it is.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <thread>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/Events/TCNorvWatchedFile.h"
#include "Platform/Utility/TCFileDescriptor.h"
#include "Platform/Utility/TCMutex.h"

/// One thread at a time has the turn: the one in Run(), or, while none is, the one in Execute().
/// What is not synchronised in the router belongs to it.
class TCRouterLoop {
 public:
  TCRouterLoop();
  TCRouterLoop(TCRouterLoop const&) = delete;
  TCRouterLoop& operator=(TCRouterLoop const&) = delete;

  /// Turns the loop until Stop(). Throws TCException when it fails.
  void Run();
  void Stop();
  /// Runs `Function` in its turn and waits for it. What it throws comes out here.
  void Execute(std::function<void()> const& Function);
  TCNorvEventLoop& get_Loop() { return m_Loop; }
  /// Microseconds, the same during one turn of the loop.
  std::uint64_t Now() const { return static_cast<std::uint64_t>(m_Loop.Now().count()); }

 private:
  bool TakeStop();
  void BeginTurn();
  void EndTurn();
  void RunTasks();

  TCNorvEventLoop m_Loop;
  TCFileDescriptor const m_Wake;
  TCNorvWatchedFile const m_Tasks;

  TCMutex m_Mutex;
  std::condition_variable m_Changed;
  // Whose turn it is: the thread in Run(), or in Execute() without it.
  std::thread::id m_Runner PROPERTY_GUARDED_BY(m_Mutex);
  bool m_Stopping PROPERTY_GUARDED_BY(m_Mutex) = false;
  std::deque<std::function<void()>> m_Waiting PROPERTY_GUARDED_BY(m_Mutex);
};
