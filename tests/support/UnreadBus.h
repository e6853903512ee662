// SPDX-License-Identifier: MIT
// A place to make messages at, for tests of what is written into them and read from them.
#pragma once

#include <sys/socket.h>

#include <cerrno>
#include <system_error>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Utility/TCFileDescriptor.h"

/// A connection that messages can be made on; nobody reads them. Throws std::system_error.
class TUnreadBus {
 public:
  TUnreadBus() {
    int Ends[2];
    Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, Ends) == 0 ? 0 : -errno);
    m_OtherEnd = TCFileDescriptor(Ends[1]);
    sd_bus* Bus = nullptr;
    Require(sd_bus_new(&Bus));
    m_Bus.reset(Bus);
    Require(sd_bus_set_fd(Bus, Ends[0], Ends[0]));
    Require(sd_bus_negotiate_fds(Bus, 1));
    Require(sd_bus_start(Bus));
  }

  TCBusMessage NewMessage() const {
    sd_bus_message* Message = nullptr;
    Require(sd_bus_message_new_signal(m_Bus.get(), &Message, "/test", "test.Test", "Test"));
    return TCBusMessage(Message);
  }

 private:
  static void Require(int Result) {
    if (Result < 0) {
      throw std::system_error(-Result, std::generic_category(), "cannot make a message");
    }
  }

  TCFileDescriptor m_OtherEnd;
  TCBusHandle m_Bus;
};
