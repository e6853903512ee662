// SPDX-License-Identifier: MIT
// A socket that makes whoever closes it last wait.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <string>

#include "Platform/Utility/TCFileDescriptor.h"

/// Its peer, which this object keeps, reads nothing of what was sent, and it is to linger for that
/// longer than any test waits.
class TLingeringSocket {
 public:
  TLingeringSocket() {
    TCFileDescriptor const Listening = New();
    sockaddr_in Address = {};
    Address.sin_family = AF_INET;
    Address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const Name = reinterpret_cast<sockaddr*>(&Address);
    socklen_t Size = sizeof(Address);
    EXPECT_EQ(bind(Listening.get(), Name, Size), 0);
    EXPECT_EQ(listen(Listening.get(), 1), 0);
    EXPECT_EQ(getsockname(Listening.get(), Name, &Size), 0);
    EXPECT_EQ(connect(m_Socket.get(), Name, Size), 0);
    m_Peer = TCFileDescriptor(accept4(Listening.get(), nullptr, nullptr, SOCK_CLOEXEC));
    EXPECT_GE(m_Peer.get(), 0);
    std::string const Bytes(1 << 16, 'x');
    while (send(m_Socket.get(), Bytes.data(), Bytes.size(), MSG_DONTWAIT) > 0) {
    }
    linger const Long = {1, 3600};
    EXPECT_EQ(setsockopt(m_Socket.get(), SOL_SOCKET, SO_LINGER, &Long, sizeof(Long)), 0);
  }

  int get() const { return m_Socket.get(); }
  /// Whoever else has it is the last one. They have to be stopped meanwhile: if they had closed it
  /// before, this would wait.
  void GiveAway() { m_Socket = TCFileDescriptor(); }
  /// Gives it away to `Server`, a process that is stopped meanwhile; `Send` sends it.
  template <class TServer, class TSend>
  void GiveTo(TServer& Server, TSend const& Send) {
    Server.Pause();
    EXPECT_TRUE(Send());
    GiveAway();
    Server.Continue();
  }

 private:
  static TCFileDescriptor New() {
    TCFileDescriptor Socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    int const Small = 1;  // the system makes the least of it
    EXPECT_EQ(setsockopt(Socket.get(), SOL_SOCKET, SO_RCVBUF, &Small, sizeof(Small)), 0);
    EXPECT_EQ(setsockopt(Socket.get(), SOL_SOCKET, SO_SNDBUF, &Small, sizeof(Small)), 0);
    return Socket;
  }

  TCFileDescriptor m_Socket = New();
  TCFileDescriptor m_Peer;
};
