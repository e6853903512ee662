// SPDX-License-Identifier: MIT
// Keeps threads waiting, and has one of them serve the link meanwhile.
#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <utility>

#include "Platform/Messaging/Proxy/TCNorvProxyConnection.h"

namespace {

constexpr int kBatch = 64;  // frames that are taken at a time, where more than one are waiting
constexpr std::chrono::microseconds kBacklogTime{20};  // in which one comes that was waiting

}  // namespace

TCNorvProxyConnection::TCDeadline TCNorvProxyConnection::DeadlineAfter(int Milliseconds) {
  if (Milliseconds < 0) {
    return std::nullopt;
  }
  return TCClock::now() + std::chrono::milliseconds(Milliseconds);
}

TCNorvProxyConnection::TCDeadline TCNorvProxyConnection::Earlier(TCDeadline Deadline,
                                                                 TCDeadline Other) {
  return Deadline && Other ? std::min(*Deadline, *Other) : Deadline ? Deadline : Other;
}

bool TCNorvProxyConnection::WaitUntil(TCMutexLock& Lock, std::function<bool()> const& Condition,
                                      TCDeadline Deadline) {
  bool const Met = ServeUntil(Lock, Condition, Deadline);
  if (m_HeldUntil && !m_IsServed) {
    Transmit();  // nobody may serve for some time
  }
  return Met;
}

bool TCNorvProxyConnection::ServeUntil(TCMutexLock& Lock, std::function<bool()> const& Condition,
                                       TCDeadline Deadline) {
  while (!Condition()) {
    if (m_Closing || (Deadline && TCClock::now() >= *Deadline)) {
      return false;
    }
    if (!m_IsServed) {
      Serve(Lock, Deadline);
    } else if (Deadline) {
      Lock.WaitUntil(m_Changed, *Deadline);
    } else {
      Lock.Wait(m_Changed);
    }
  }
  return true;
}

void TCNorvProxyConnection::Serve(TCMutexLock& Lock, TCDeadline Deadline) {
  m_IsServed = true;
  if (m_Link.get_State() == TCProxyLink::TEState::eDown &&
      TCClock::now() >= m_Link.get_NextAttempt()) {
    m_Link.Connect();
  }
  TCClock::time_point const Before = TCClock::now();
  if (Poll(Lock, Deadline)) {
    Receive(TCClock::now() - Before < kBacklogTime ? kBatch : 1);
  }
  if (IsTimeToTransmit()) {
    Transmit();
  }
  if (auto const Time = m_Link.get_Wait().get_ReportTime(); Time && TCClock::now() >= *Time) {
    m_Link.get_Wait().Report();
  }
  m_IsServed = false;
  m_Changed.notify_all();
}

// Whether there is something to read.
bool TCNorvProxyConnection::Poll(TCMutexLock& Lock, TCDeadline Deadline) {
  pollfd Files[2] = {{m_Wake.get(), POLLIN, 0}, {-1, 0, 0}};
  if (m_Link.get_State() == TCProxyLink::TEState::eDown) {
    Deadline = Earlier(Deadline, m_Link.get_NextAttempt());
  } else {
    Files[1].fd = m_Link.get_File();
    Files[1].events = m_Link.IsBlocked() ? POLLIN | POLLOUT : POLLIN;
  }
  for (TCDeadline const& Other :
       {m_HeldUntil, m_Shortage.RetryAt, m_Link.get_Wait().get_ReportTime()}) {
    Deadline = Earlier(Deadline, Other);
  }
  m_ServedUntil = Deadline;
  timespec Remaining = {};
  if (Deadline) {
    auto const Nanoseconds = std::max(std::chrono::nanoseconds::zero(),
                                      std::chrono::nanoseconds(*Deadline - TCClock::now()));
    Remaining.tv_sec = static_cast<time_t>(Nanoseconds.count() / 1000000000);
    Remaining.tv_nsec = static_cast<long>(Nanoseconds.count() % 1000000000);
  }
  Lock.Leave();
  ppoll(Files, 2, Deadline ? &Remaining : nullptr, nullptr);
  Lock.Enter();
  if ((Files[0].revents & POLLIN) != 0) {
    eventfd_t Ignored = 0;
    eventfd_read(m_Wake.get(), &Ignored);
  }
  if ((Files[1].revents & POLLOUT) != 0) {
    m_Link.Unblock();
    Transmit();
  }
  return (Files[1].revents & ~POLLOUT) != 0;
}

void TCNorvProxyConnection::Wake() {
  eventfd_write(m_Wake.get(), 1);
}

void TCNorvProxyConnection::LookUpBy(TCClock::time_point Time) {
  if (!m_ServedUntil || *m_ServedUntil > Time) {
    Wake();
  }
}
