// SPDX-License-Identifier: MIT
// The loop that serves a router's connections, and whose turn it is.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

#include "Platform/Messaging/BusHandles.h"

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
  sd_event* get_Event() const { return m_Event.get(); }
  /// Microseconds, the same during one turn of the loop.
  std::uint64_t Now() const;

 private:
  static int OnWake(sd_event_source* Source, int File, std::uint32_t Events, void* Loop);

  void BeginTurn();
  void EndTurn();
  void RunTasks();

  TCEventHandle m_Event;
  TCFileDescriptor m_Wake;
  TCEventSource m_WakeSource;

  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  // guarded by m_Mutex
  std::thread::id m_Runner;  // whose turn it is: the thread in Run(), or in Execute() without it
  bool m_Stopping = false;
  std::deque<std::function<void()>> m_Tasks;
};
