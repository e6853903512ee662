// SPDX-License-Identifier: MIT
// A peer that speaks to the router of a test without a proxy.
#pragma once

#include <cstdint>
#include <string>

#include "tests/support/FramePeer.h"

/// A peer of TestClass()'s service.
class TRouterPeer : public TFramePeer {
 public:
  using TFramePeer::TFramePeer;

  /// A record of the test's class with a number, as in a frame.
  static std::string Record(int Number, std::string const& Text = "x");
  /// A frame to the service, complete but for its mails.
  static TSWireFrame NewMail(std::uint64_t Number = 1);
  TSWireFrame NewRequest();
  /// Sound ones, with that number.
  static TSWireFrame NewChange(std::uint64_t Number, int Value);
  TSWireFrame NewQuestion(int Value);
  static TSWireFrame NewSubscription(std::uint64_t Epoch = 0, std::uint64_t Sequence = 0);

  /// Sends mails and waits until mail `Last` has been acknowledged; false when it is not.
  bool Tell(TSWireFrame const& Mails, std::uint64_t Last);
  /// Returns when the router has taken the subscription.
  void Subscribe(std::uint64_t Epoch = 0, std::uint64_t Sequence = 0);
  /// Returns when the router has taken all that was sent before. The peer has greeted.
  void AwaitRouter();

  static constexpr char kFields[] = "isv";
};
