// SPDX-License-Identifier: MIT
// Threads that serve connections, one after the other.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "Platform/Utility/TCMutex.h"

namespace Property {

/// A fixed number of threads and a bounded number of tasks that wait for them. Synchronised.
class TCWorkers {
 public:
  /// What a task throws is logged and goes no further.
  using TCTask = std::function<void()>;

  TCWorkers(std::size_t Threads, std::size_t MostWaiting);
  TCWorkers(TCWorkers const&) = delete;
  TCWorkers& operator=(TCWorkers const&) = delete;
  /// Drops the tasks that wait, and waits for those that run.
  ~TCWorkers();

  /// Has the task done; false, and it is dropped, when too many wait.
  [[nodiscard]] bool Add(TCTask Task);

 private:
  void Run();
  void Stop();

  std::size_t const m_MostWaiting;
  TCMutex m_Lock;
  std::condition_variable m_Changed;
  std::deque<TCTask> m_Waiting PROPERTY_GUARDED_BY(m_Lock);
  bool m_Stops PROPERTY_GUARDED_BY(m_Lock) = false;

  std::vector<std::thread> m_Threads;
};

}  // namespace Property
