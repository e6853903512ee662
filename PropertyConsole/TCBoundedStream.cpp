// SPDX-License-Identifier: MIT
// Counts bytes and watches the time.
#include "PropertyConsole/TCBoundedStream.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace Property {
namespace {

constexpr std::chrono::milliseconds kLingering{1000};
constexpr std::size_t kMostDrained = std::size_t{8} << 20;

}  // namespace

TCBoundedStream::TCBoundedStream(std::unique_ptr<TCTransport> Transport, std::string Peer,
                                 int StopFile, TSStreamLimits const& Limits)
    : m_Transport(std::move(Transport)),
      m_Peer(std::move(Peer)),
      m_StopFile(StopFile),
      m_Limits(Limits),
      m_ReadDeadline(std::chrono::steady_clock::now() + Limits.ReadTime),
      m_Allowed(Limits.HeadBytes) {}

ssize_t TCBoundedStream::read(char* Data, std::size_t Size) {
  if (m_Allowed == 0) {
    m_HasSentTooMuch = true;
    return -1;
  }
  if (m_Begin == m_End && !Fill()) {
    return m_IsLate ? -1 : 0;
  }
  std::size_t const Count = std::min({Size, m_End - m_Begin, m_Allowed});
  std::memcpy(Data, m_Buffer.data() + m_Begin, Count);
  m_Begin += Count;
  m_Allowed -= Count;
  return static_cast<ssize_t>(Count);
}

ssize_t TCBoundedStream::write(char const* Data, std::size_t Size) {
  if (!m_Writes) {
    m_Writes = true;
    m_WriteDeadline = std::chrono::steady_clock::now() + m_Limits.WriteTime;
  }
  for (;;) {
    auto const [Count, Event] = m_Transport->Send(Data, Size);
    if (Event == 0) {
      return Count;
    }
    if (!Wait(Event, m_WriteDeadline, false)) {
      return -1;
    }
  }
}

void TCBoundedStream::get_remote_ip_and_port(std::string& Address, int& Port) const {
  Address = m_Peer;
  Port = 0;
}

void TCBoundedStream::get_local_ip_and_port(std::string& Address, int& Port) const {
  Address.clear();
  Port = 0;
}

void TCBoundedStream::Finish() {
  TCTime const Deadline = std::chrono::steady_clock::now() + kLingering;
  for (short Event = 1; Event != 0;) {
    Event = m_Transport->EndSending().Wait;
    if (Event != 0 && !Wait(Event, Deadline, true)) {
      return;
    }
  }
  for (std::size_t Drained = 0; Drained < kMostDrained;) {
    auto const [Count, Event] = m_Transport->Receive(m_Buffer.data(), m_Buffer.size());
    if (Count > 0) {
      Drained += static_cast<std::size_t>(Count);
    } else if (Event == 0 || !Wait(Event, Deadline, true)) {
      return;
    }
  }
}

// False when it does not come in time, or the server ends first.
bool TCBoundedStream::Wait(short Event, TCTime Deadline, bool ObeysStop) {
  pollfd Files[] = {{m_Transport->get_Socket(), Event, 0}, {m_StopFile, POLLIN, 0}};
  for (;;) {
    auto const Left =
        std::chrono::ceil<std::chrono::milliseconds>(Deadline - std::chrono::steady_clock::now());
    if (Left.count() <= 0) {
      return false;
    }
    int const Ready = poll(Files, ObeysStop ? 2 : 1, static_cast<int>(Left.count()));
    if (Ready > 0) {
      return Files[1].revents == 0;
    }
    if (Ready < 0 && errno != EINTR) {
      return false;
    }
  }
}

bool TCBoundedStream::Fill() {
  for (;;) {
    auto const [Count, Event] = m_Transport->Receive(m_Buffer.data(), m_Buffer.size());
    if (Event == 0) {
      m_Begin = 0;
      m_End = Count > 0 ? static_cast<std::size_t>(Count) : 0;
      return Count > 0;
    }
    if (!Wait(Event, m_ReadDeadline, true)) {
      m_IsLate = true;
      return false;
    }
  }
}

}  // namespace Property
