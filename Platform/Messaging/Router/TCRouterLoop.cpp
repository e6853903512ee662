// SPDX-License-Identifier: MIT
// Turns the event loop and hands tasks to whoever has the turn.
#include "Platform/Messaging/Router/TCRouterLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/Router/TCRouterLoop";

TCFileDescriptor NewWake() {
  TCFileDescriptor File(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (File.get() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot make an event descriptor: %s", std::strerror(errno));
  }
  return File;
}

}  // namespace

TCRouterLoop::TCRouterLoop()
    : m_Wake(NewWake()), m_Tasks(m_Loop, m_Wake.get(), EPOLLIN, [this](std::uint32_t /*Events*/) {
        eventfd_t Ignored = 0;
        eventfd_read(m_Wake.get(), &Ignored);
        RunTasks();
      }) {}

void TCRouterLoop::Run() {
  BeginTurn();
  try {
    while (!TakeStop()) {
      m_Loop.Turn();
    }
  } catch (...) {
    EndTurn();
    throw;
  }
  EndTurn();
}

bool TCRouterLoop::TakeStop() {
  TCMutexLock const Lock(m_Mutex);
  return std::exchange(m_Stopping, false);
}

void TCRouterLoop::BeginTurn() {
  TCMutexLock Lock(m_Mutex);
  while (m_Runner != std::thread::id()) {
    Lock.Wait(m_Changed);
  }
  m_Runner = std::this_thread::get_id();
}

// No task is left behind: it is run here, or its thread takes the next turn.
void TCRouterLoop::EndTurn() {
  for (;;) {
    RunTasks();
    TCMutexLock const Lock(m_Mutex);
    if (m_Waiting.empty()) {
      m_Runner = std::thread::id();
      m_Changed.notify_all();
      return;
    }
  }
}

void TCRouterLoop::Stop() {
  TCMutexLock const Lock(m_Mutex);
  m_Stopping = true;
  eventfd_write(m_Wake.get(), 1);
}

void TCRouterLoop::Execute(std::function<void()> const& Function) {
  TCMutexLock Lock(m_Mutex);
  if (m_Runner == std::this_thread::get_id()) {
    Lock.Leave();
    Function();
    return;
  }
  bool Done = false;
  std::exception_ptr Failure;
  m_Waiting.emplace_back([&] {
    try {
      Function();
    } catch (...) {
      Failure = std::current_exception();
    }
    TCMutexLock const TaskLock(m_Mutex);
    Done = true;
    m_Changed.notify_all();
  });
  if (m_Runner == std::thread::id()) {
    m_Runner = std::this_thread::get_id();
    Lock.Leave();
    EndTurn();
    Lock.Enter();
  } else {
    eventfd_write(m_Wake.get(), 1);
  }
  while (!Done) {
    Lock.Wait(m_Changed);
  }
  Lock.Leave();
  if (Failure) {
    std::rethrow_exception(Failure);
  }
}

void TCRouterLoop::RunTasks() {
  for (;;) {
    std::function<void()> Task;
    {
      TCMutexLock const Lock(m_Mutex);
      if (m_Waiting.empty()) {
        return;
      }
      Task = std::move(m_Waiting.front());
      m_Waiting.pop_front();
    }
    Task();
  }
}
