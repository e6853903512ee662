// SPDX-License-Identifier: MIT
// Asks the system whether a peer has read what it was sent.
#include "Platform/Messaging/Router/TCUnreadFiles.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace {

constexpr std::size_t kUnreadLimit = std::size_t{1} << 20;

bool HasReadAll(int Socket) {
  int Unread = 0;
  return ioctl(Socket, SIOCOUTQ, &Unread) != 0 || Unread == 0;
}

}  // namespace

bool TCUnreadFiles::HaveRoomFor(Wire::TCFrame const& Frame) {
  if (!Frame.get_Body() || m_Bytes == 0 || m_Bytes + Frame.get_Body()->get_Size() <= kUnreadLimit) {
    return true;
  }
  if (HasReadAll(m_Socket)) {
    m_Bytes = 0;
  }
  return m_Bytes == 0;
}

void TCUnreadFiles::Add(Wire::TCFrame const& Frame) {
  m_Bytes += Frame.get_Body() ? Frame.get_Body()->get_Size() : 0;
}
