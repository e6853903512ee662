// SPDX-License-Identifier: MIT
// A connection to a router on which a test sends what it has put together, and reads what comes.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/UnixSocket.h"
#include "tests/support/WireFrame.h"

/// Sends frames, and bytes that are none. Used by one thread.
class TFramePeer {
 public:
  /// Throws std::system_error when nobody listens there.
  explicit TFramePeer(std::string const& Address);
  /// Uses a connected socket.
  explicit TFramePeer(TCFileDescriptor Socket);

  /// Sends, or queues while the router does not read. False when the connection has ended.
  bool Send(TSWireFrame const& Frame) { return SendBytes(Frame.Encode(), Frame.Files); }
  /// The same, in one packet, with copies of `Files`.
  bool SendBytes(std::string const& Bytes, std::vector<int> const& Files = {});
  /// Sends all that is queued. False when the connection has ended.
  bool Flush();

  /// "" for an answer, else the reason of the refusal, or that there is none.
  std::string Call(TSWireFrame const& Request);
  /// The answer; none for a refusal.
  std::optional<TSWireFrame> Ask(TSWireFrame const& Request);
  /// Greets; "" when the router does, else the reason why not.
  std::string Greet(std::string const& Identity = "peer", std::int32_t Version = 1);

  /// The next frame that has come or comes within the test's patience, answers to Call() aside;
  /// none when none does.
  std::optional<TSWireFrame> Hear();
  /// The frames that have come, without waiting, where the test makes the router turn.
  std::vector<TSWireFrame> TakeHeard();
  /// Waits until the router has ended the connection; false when it does not.
  bool HearEnd();
  /// Whether that was noticed.
  bool HasEnded() const { return m_HasEnded; }
  int get_Socket() const { return m_Socket.get(); }

 protected:
  /// A number for a request.
  std::uint64_t NextRequest() { return ++m_LastRequest; }

 private:
  struct TSPacket {
    std::string Bytes;
    std::vector<TCFileDescriptor> Files;
  };
  enum class TEResult { eDone, eLater, eEnded };

  TEResult SendNow(std::string const& Bytes, std::vector<int> const& Files);
  TEResult SendQueued();
  TEResult Receive(TSWireFrame& Frame);
  bool Wait(bool ForReading);
  std::optional<TSWireFrame> HearNew();
  std::optional<TSWireFrame> HearAnswer(TSWireFrame const& Request);

  TCFileDescriptor m_Socket;
  std::deque<TSPacket> m_Queue;
  std::deque<TSWireFrame> m_Heard;  // while something else was waited for
  bool m_HasEnded = false;
  std::uint64_t m_LastRequest = 0;
};
