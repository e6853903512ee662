// SPDX-License-Identifier: MIT
// The memory files that were sent to a peer, until it has read them.
#pragma once

#include <cstddef>

#include "Platform/Messaging/Wire/Frame.h"

/// A memory file in a socket's queue takes the sender's memory, and next to nothing of the queue's
/// room: a peer that does not read could hold any amount of it. So a peer is sent 1 MiB of them, or
/// one that is larger, and more when it has read those.
class TCUnreadFiles {
 public:
  /// Of the peer at the other end of a socket, which stays the caller's.
  explicit TCUnreadFiles(int Socket) : m_Socket(Socket) {}

  /// Whether the frame may be sent now. Asks the system only where it matters.
  bool HaveRoomFor(Wire::TCFrame const& Frame);
  /// The frame was sent.
  void Add(Wire::TCFrame const& Frame);

 private:
  int const m_Socket;
  std::size_t m_Bytes = 0;  // at most: the peer may have read some of them
};
