// SPDX-License-Identifier: MIT
// Hands tasks to threads.
#include "PropertyConsole/TCWorkers.h"

#include <exception>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"

namespace Property {

TCWorkers::TCWorkers(std::size_t Threads, std::size_t MostWaiting) : m_MostWaiting(MostWaiting) {
  try {
    while (m_Threads.size() < Threads) {
      m_Threads.emplace_back([this] { Run(); });
    }
  } catch (...) {
    Stop();
    throw;
  }
}

TCWorkers::~TCWorkers() {
  Stop();
}

bool TCWorkers::Add(TCTask Task) {
  {
    TCMutexLock const Lock(m_Lock);
    if (m_Waiting.size() >= m_MostWaiting) {
      return false;
    }
    m_Waiting.push_back(std::move(Task));
  }
  m_Changed.notify_one();
  return true;
}

void TCWorkers::Run() {
  for (;;) {
    TCTask Task;
    {
      TCMutexLock Lock(m_Lock);
      while (!m_Stops && m_Waiting.empty()) {
        Lock.Wait(m_Changed);
      }
      if (m_Stops) {
        return;
      }
      Task = std::move(m_Waiting.front());
      m_Waiting.pop_front();
    }
    try {
      Task();
    } catch (std::exception const& Failure) {
      SyslogError("A connection ends early: %s", PrintableLine(Failure.what()).c_str());
    }
  }
}

void TCWorkers::Stop() {
  {
    TCMutexLock const Lock(m_Lock);
    m_Stops = true;
    m_Waiting.clear();
  }
  m_Changed.notify_all();
  for (std::thread& Thread : m_Threads) {
    Thread.join();
  }
}

}  // namespace Property
