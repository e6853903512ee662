// SPDX-License-Identifier: MIT
// Sends and receives frames on a connected socket.
#pragma once

#include <memory>
#include <string_view>

#include "Platform/Messaging/Wire/Frame.h"
#include "Platform/Utility/TCFileDescriptor.h"

namespace Wire {

/// What has become of an attempt to send or to receive.
enum class TETransfer {
  eDone,
  eLater,   ///< the peer has not read what was sent before, or has sent nothing
  eEnded,   ///< the peer has gone
  eBroken,  ///< what has come is no frame, and the connection is of no use
};

/// Sends `Frame`, and the memory file that belongs to it, without waiting. Throws
/// std::system_error when it can not be sent for lack of memory or descriptors: it may be possible
/// later, and nothing has been sent.
TETransfer Send(int Socket, TCFrame const& Frame);

/// The frame that was received last. Owned by one thread at a time.
class TCFrameReceiver {
 public:
  TCFrameReceiver();

  /// Receives the next frame without waiting. With `WithFile` a memory file may come with it;
  /// otherwise the system drops what comes, so that nobody leaves descriptors here. eBroken for a
  /// file where none may come, one that holds no memory, more than one, and a frame that is too
  /// large.
  TETransfer Receive(int Socket, bool WithFile);
  /// Of the last frame; the file is -1 when none came with it.
  std::string_view get_Bytes() const { return {m_Buffer.get(), m_Size}; }
  int get_File() const { return m_File.get(); }
  /// The frame has been dealt with: its file is not kept until the next one comes.
  void CloseFile() { m_File = TCFileDescriptor(); }

 private:
  std::unique_ptr<char[]> const m_Buffer;  // of the largest frame; what is not used takes no memory
  std::size_t m_Size = 0;
  TCFileDescriptor m_File;
};

/// Whether the peer has read all that it was sent, or nobody can say.
bool HasReadAll(int Socket);

/// A socket of the kind that frames travel on, non-blocking. Throws TCException when there is none.
TCFileDescriptor NewFrameSocket();

/// The next connection that waits at a listening one; without a file and with errno set when there
/// is none, or the system has no more descriptors.
TCFileDescriptor AcceptFrameSocket(int Listening);

}  // namespace Wire
