// SPDX-License-Identifier: MIT
// Asks the system whether a peer has read what it was sent.
#include "Platform/Messaging/Router/TCUnreadFiles.h"

#include "Platform/Messaging/Wire/FrameSocket.h"

namespace {

constexpr std::size_t kUnreadLimit = std::size_t{1} << 20;

}  // namespace

bool TCUnreadFiles::HaveRoomFor(Wire::TCFrame const& Frame) {
  if (!Frame.get_Body() || m_Bytes == 0 || m_Bytes + Frame.get_Body()->get_Size() <= kUnreadLimit) {
    return true;
  }
  if (Wire::HasReadAll(m_Socket)) {
    m_Bytes = 0;
  }
  return m_Bytes == 0;
}

void TCUnreadFiles::Add(Wire::TCFrame const& Frame) {
  m_Bytes += Frame.get_Body() ? Frame.get_Body()->get_Size() : 0;
}
