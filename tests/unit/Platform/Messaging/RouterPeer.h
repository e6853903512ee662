// SPDX-License-Identifier: MIT
// A peer that speaks to the router of a test without a proxy.
#pragma once

#include <cstdint>
#include <string>

#include "Platform/Messaging/MailWire.h"
#include "tests/support/BusPeer.h"

/// The interface of TestClass().
inline constexpr char kTestInterface[] = "mailrouter.class.test.v1";

/// A peer of TestClass()'s service.
class TRouterPeer : public TBusPeer {
 public:
  using TBusPeer::TBusPeer;

  /// A mail, empty.
  TCBusMessage NewMail(char const* Member = MailWire::kSend,
                       char const* Interface = kTestInterface);

  /// The type of the answer's records, or "error".
  std::string CallForType(TCBusMessage const& Request);
  /// Sends what is not answered and waits until mail `Last` has been acknowledged; false when it is
  /// not.
  bool Tell(TCBusMessage const& Mails, std::uint64_t Last);
  /// "" for success, else the error's name and text.
  std::string Greet(char const* Identity = "peer", std::uint32_t Version = 1);
  /// Returns when the router has taken the subscription.
  void Subscribe(MailWire::TSPosition const& Known = {});
  /// Returns when the router has taken all that was sent before.
  void AwaitRouter();
  /// The next signal that has come or comes within the test's patience; none when none does.
  TCBusMessage HearSignal();
};
