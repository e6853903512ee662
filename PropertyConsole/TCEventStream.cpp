// SPDX-License-Identifier: MIT
// Chooses what a stream is told next, and sends it piece by piece.
#include "PropertyConsole/TCEventStream.h"

#include <poll.h>

#include <array>
#include <utility>

namespace Property {
namespace {

constexpr std::chrono::seconds kSilence{15};
constexpr std::chrono::seconds kLongestSending{30};  // of one event
constexpr std::chrono::milliseconds kTrust{250};     // that a session is as it was
constexpr int kEventsATurn = 64;
constexpr std::size_t kMostHeard = std::size_t{16} << 10;

}  // namespace

TCEventStream::TCEventStream(std::unique_ptr<TCTransport> Transport, TSStreamStart Start,
                             TCTime Now)
    : m_Transport(std::move(Transport)),
      m_Start(std::move(Start)),
      m_Begun(Now),
      m_Told(Now),
      m_Checked(Now - kTrust) {
  Begin("retry: 1000\n\n");
}

bool TCEventStream::Serve(TSRound const& Round) {
  m_HasMore = false;
  for (int Count = 0; Count < kEventsATurn; ++Count) {
    if (m_Sent == m_Size) {
      if (m_Ends || !Choose(Round)) {
        return false;
      }
      if (m_Sent == m_Size) {
        return true;
      }
      m_Begun = Round.Now;
    }
    if (!Send(Round.Now)) {
      return false;
    }
    if (m_Sent < m_Size) {
      return Round.Now - m_Begun < kLongestSending;
    }
  }
  m_HasMore = true;
  return true;
}

bool TCEventStream::Hear() {
  std::array<char, 1024> Bytes{};
  for (;;) {
    auto const [Count, Event] = m_Transport->Receive(Bytes.data(), Bytes.size());
    if (Event != 0) {
      return true;
    }
    m_Heard += Count > 0 ? static_cast<std::size_t>(Count) : 0;
    if (Count <= 0 || m_Heard > kMostHeard) {
      return false;
    }
  }
}

// What comes next, if anything; false when too much is forgotten.
bool TCEventStream::Choose(TSRound const& Round) {
  if (Round.Now - m_Checked >= kTrust) {
    m_Checked = Round.Now;
    if (!Round.IsIn(m_Start)) {
      m_Ends = true;
      Begin("event: signed-out\ndata: {}\n\n");
      return true;
    }
  }
  if (m_IsConnected != Round.IsConnected) {
    m_IsConnected = Round.IsConnected;
    Begin(std::string("event: connection\ndata: {\"connected\":") +
          (Round.IsConnected ? "true" : "false") + "}\n\n");
    return true;
  }
  return ChooseEvent(Round);
}

bool TCEventStream::ChooseEvent(TSRound const& Round) {
  if (!m_Start.After) {
    m_Start.After = Round.Last;
    Begin(ReloadEvent(Round.Revision));
    return true;
  }
  if (!Round.Events.Knows(*m_Start.After)) {
    return false;
  }
  while (auto Event = Round.Events.After(*m_Start.After)) {
    m_Start.After = Event->Number;
    if (Event->Device.empty() || Event->Device == m_Start.Device) {
      m_Text.clear();
      m_Event = std::move(Event);
      m_Sent = 0;
      m_Size =
          m_Start.Role == TERole::eAdministrator ? m_Event->Open.size() : m_Event->Masked.size();
      return true;
    }
  }
  if (Round.Now - m_Told >= kSilence) {
    Begin(":\n\n");
  }
  return true;
}

void TCEventStream::Begin(std::string Text) {
  m_Event.reset();
  m_Text = std::move(Text);
  m_Sent = 0;
  m_Size = m_Text.size();
}

// As much as goes; false when the connection is broken.
bool TCEventStream::Send(TCTime Now) {
  m_Events = 0;
  while (m_Sent < m_Size) {
    auto const [Count, Event] = m_Transport->Send(Bytes() + m_Sent, m_Size - m_Sent);
    if (Event != 0) {
      m_Events = Event;
      return true;
    }
    if (Count <= 0) {
      return false;
    }
    m_Sent += static_cast<std::size_t>(Count);
  }
  m_Told = Now;
  m_Event.reset();
  return true;
}

char const* TCEventStream::Bytes() const {
  if (m_Event == nullptr) {
    return m_Text.data();
  }
  return m_Start.Role == TERole::eAdministrator ? m_Event->Open.data() : m_Event->Masked.data();
}

}  // namespace Property
