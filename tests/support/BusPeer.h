// SPDX-License-Identifier: MIT
// A connection to a router on which a test sends what it has put together, and reads what comes.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Utility/TCFileDescriptor.h"

/// The message with values of these types appended.
template <class... TValues>
TCBusMessage With(TCBusMessage Message, char const* Types, TValues... Values) {
  EXPECT_GE(sd_bus_message_append(Message.get(), Types, Values...), 0);
  return Message;
}

/// Fails the test where a message can not be made. Used by one thread.
class TBusPeer {
 public:
  explicit TBusPeer(std::string const& Address);
  /// Uses a connected socket.
  explicit TBusPeer(TCFileDescriptor Socket);

  /// A call, empty.
  TCBusMessage NewCall(std::string const& Path, char const* Interface, char const* Member);
  /// Sends, or queues while the router does not read. False when the connection has ended.
  bool Send(TCBusMessage const& Message);
  /// Sends all that is queued. False when the connection has ended.
  bool Flush();
  /// "" for an answer, else the error's name and text.
  std::string Call(TCBusMessage const& Request);
  /// The answer; none for an error.
  TCBusMessage Ask(TCBusMessage const& Request);

 protected:
  /// The next message that has come or comes within the test's patience; none when none does, and
  /// whether the connection has ended.
  TCBusMessage HearMessage(bool& Ended);

 private:
  TCBusHandle m_Bus;
};
