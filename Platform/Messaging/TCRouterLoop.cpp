// SPDX-License-Identifier: MIT
// Turns the event loop and hands tasks to whoever has the turn.
#include "Platform/Messaging/TCRouterLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <exception>
#include <utility>

#include "Platform/Messaging/MailWire.h"

namespace {

TCEventHandle NewEvent() {
  sd_event* Event = nullptr;
  MailWire::Require(sd_event_new(&Event), "make an event loop");
  return TCEventHandle(Event);
}

}  // namespace

TCRouterLoop::TCRouterLoop() : m_Event(NewEvent()), m_Wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  sd_event_source* Source = nullptr;
  MailWire::Require(sd_event_add_io(m_Event.get(), &Source, m_Wake.get(), EPOLLIN, OnWake, this),
                    "watch for tasks");
  m_WakeSource.reset(Source);
}

void TCRouterLoop::Run() {
  BeginTurn();
  int Result = 0;
  for (;;) {
    {
      std::lock_guard<std::mutex> const Lock(m_Mutex);
      if (m_Stopping || Result < 0) {
        m_Stopping = false;
        break;
      }
    }
    Result = sd_event_run(m_Event.get(), UINT64_MAX);
  }
  EndTurn();
  MailWire::Require(Result, "run the event loop");
}

void TCRouterLoop::BeginTurn() {
  std::unique_lock<std::mutex> Lock(m_Mutex);
  m_Changed.wait(Lock, [this] { return m_Runner == std::thread::id(); });
  m_Runner = std::this_thread::get_id();
}

// No task is left behind: it is run here, or its thread takes the next turn.
void TCRouterLoop::EndTurn() {
  for (;;) {
    RunTasks();
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    if (m_Tasks.empty()) {
      m_Runner = std::thread::id();
      m_Changed.notify_all();
      return;
    }
  }
}

void TCRouterLoop::Stop() {
  std::lock_guard<std::mutex> const Lock(m_Mutex);
  m_Stopping = true;
  eventfd_write(m_Wake.get(), 1);
}

void TCRouterLoop::Execute(std::function<void()> const& Function) {
  std::unique_lock<std::mutex> Lock(m_Mutex);
  if (m_Runner == std::this_thread::get_id()) {
    Lock.unlock();
    Function();
    return;
  }
  bool Done = false;
  std::exception_ptr Failure;
  m_Tasks.emplace_back([&] {
    try {
      Function();
    } catch (...) {
      Failure = std::current_exception();
    }
    std::lock_guard<std::mutex> const TaskLock(m_Mutex);
    Done = true;
    m_Changed.notify_all();
  });
  if (m_Runner == std::thread::id()) {
    m_Runner = std::this_thread::get_id();
    Lock.unlock();
    EndTurn();
    Lock.lock();
  } else {
    eventfd_write(m_Wake.get(), 1);
  }
  m_Changed.wait(Lock, [&Done] { return Done; });
  Lock.unlock();
  if (Failure) {
    std::rethrow_exception(Failure);
  }
}

void TCRouterLoop::RunTasks() {
  for (;;) {
    std::function<void()> Task;
    {
      std::lock_guard<std::mutex> const Lock(m_Mutex);
      if (m_Tasks.empty()) {
        return;
      }
      Task = std::move(m_Tasks.front());
      m_Tasks.pop_front();
    }
    Task();
  }
}

int TCRouterLoop::OnWake(sd_event_source* /*Source*/, int File, std::uint32_t /*Events*/,
                         void* Loop) {
  eventfd_t Ignored = 0;
  eventfd_read(File, &Ignored);
  static_cast<TCRouterLoop*>(Loop)->RunTasks();
  return 0;
}

std::uint64_t TCRouterLoop::Now() const {
  std::uint64_t Time = 0;
  sd_event_now(m_Event.get(), CLOCK_MONOTONIC, &Time);
  return Time;
}
