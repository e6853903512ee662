// SPDX-License-Identifier: MIT
// One browser that hears of changes.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "PropertyConsole/TCKeptEvents.h"
#include "PropertyConsole/TCStreamPlaces.h"
#include "PropertyConsole/TCTransport.h"
#include "PropertyConsole/TERole.h"

namespace Property {

/// Whose stream it is, and where it begins.
struct TSStreamStart {
  std::string User;
  TERole Role = TERole::eViewer;
  std::string Token;                   ///< of the session
  std::string Device;                  ///< whose changes are told, beside those of none
  std::optional<std::uint64_t> After;  ///< the last change that is known; none: reload first
  std::shared_ptr<TCStreamPlace const> Place;  ///< given back with the stream
};

/// A connection behind the head of its answer. Never waits, and keeps nothing for who reads slowly:
/// it holds the one event that is on its way. Used by one thread.
class TCEventStream {
 public:
  using TCTime = std::chrono::steady_clock::time_point;

  /// What streams are served with, in one round.
  struct TSRound {
    TCKeptEvents& Events;
    std::function<bool(TSStreamStart const&)> const& IsIn;
    std::string const& Revision;  ///< that the events have come to
    std::uint64_t Last = 0;       ///< the number of it
    bool IsConnected = false;
    TCTime Now;
  };

  TCEventStream(std::unique_ptr<TCTransport> Transport, TSStreamStart Start, TCTime Now);

  /// Sends what there is, a share of it. False when the stream is over: its end is sent, the peer
  /// has gone or reads too slowly, or not all is known any more that it has to be told.
  bool Serve(TSRound const& Round);
  /// Reads and drops what the peer sends. False when it has gone, or sends too much.
  bool Hear();

  int get_Socket() const { return m_Transport->get_Socket(); }
  /// What to wait for before serving it again.
  short get_Events() const { return m_Events; }
  /// Whether more is to be sent that was left to others' turns.
  bool HasMore() const { return m_HasMore; }

 private:
  bool Choose(TSRound const& Round);
  bool ChooseEvent(TSRound const& Round);
  void Begin(std::string Text);
  bool Send(TCTime Now);
  char const* Bytes() const;

  std::unique_ptr<TCTransport> const m_Transport;
  TSStreamStart m_Start;
  std::string m_Text;                      // on its way, unless it is an event's
  std::shared_ptr<TSEvent const> m_Event;  // on its way
  std::size_t m_Sent = 0;
  std::size_t m_Size = 0;
  std::size_t m_Heard = 0;
  TCTime m_Begun;                     // of what is on its way
  TCTime m_Told;                      // when anything was sent last
  TCTime m_Checked;                   // whether its user is still signed in
  std::optional<bool> m_IsConnected;  // as it was told
  short m_Events = 0;
  bool m_HasMore = false;
  bool m_Ends = false;
};

}  // namespace Property
