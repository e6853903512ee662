// SPDX-License-Identifier: MIT
// A peer of the router that writes its messages by hand.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/BusPeer.h"

/// A connection that sends what the test puts into its messages. The envelopes are written here
/// and nowhere else in the tests of whole processes.
class TWirePeer : public TBusPeer {
 public:
  using TBusPeer::TBusPeer;

  /// Greets; "" when the router does, else the error's name and text.
  std::string Greet(std::string const& Identity = "peer");
  /// Subscribes to the properties, as one that knows the mails up to a place.
  bool Subscribe(std::uint64_t Epoch = 0, std::uint64_t Sequence = 0,
                 std::string const& Interface = kProperty);

  /// A call of the router, empty.
  TCBusMessage NewRouterCall(char const* Member);
  /// A message of an interface to the property server's mailbox, empty.
  TCBusMessage NewMailboxCall(char const* Member, char const* Interface = kProperty);
  /// A mail or request, complete but for its content.
  TCBusMessage NewMail(std::uint64_t Number, char const* Interface = kProperty);
  TCBusMessage NewRequest(char const* Interface = kProperty);
  /// A message to a mailbox that nobody owns, empty.
  TCBusMessage NewOwnerlessMail();
  /// A sound mail that gives a property a value.
  TCBusMessage NewChange(std::uint64_t Number, int Property, std::string const& Value,
                         std::string const& Link = "", std::string const& MAC = "");
  /// A sound mail that gives several properties, of no device, a value at once.
  TCBusMessage NewTransaction(std::uint64_t Number,
                              std::vector<std::pair<int, std::string>> const& Values);
  /// Several mails in one message: what is announced of them, and then the letters of their fields
  /// and their bytes.
  TCBusMessage NewMails(std::uint64_t First, std::uint32_t Count, char const* Fields,
                        std::string const& Bytes);
  /// A sound change of property `Property`, as one of several mails.
  static std::string PackedChange(int Property, std::string const& Value,
                                  std::string const& Link = "", std::string const& MAC = "");
  /// Sound mails in one message that give a property one value after the other.
  TCBusMessage NewChanges(std::uint64_t First, int Property,
                          std::vector<std::string> const& Values);
  /// A sound request for all values.
  TCBusMessage NewRequestForAll();
  /// A sound request for one value.
  TCBusMessage NewRequestForOne();

  /// The server's epoch, from its answer to a request for all values; 0 when there is none.
  std::uint64_t AskEpoch();
  /// Waits for the next acknowledgement; nothing when the connection ends.
  std::optional<std::uint64_t> HearAcknowledged();
  /// Waits for the next signal about mails: its name, whose mail it is (another's, own, up to date;
  /// where it says), and the mail's number. "" when the connection ends.
  std::string HearOfMail();
  /// Waits for the next published mail with records: the values in it, "201=a 202=b". "" when the
  /// connection ends.
  std::string HearValues();
  /// Waits until the router has ended the connection; false when it does not.
  bool HearEnd();

  /// Letters of the fields of a change.
  static constexpr char kChangeFields[] = "isssb";
  static constexpr char kProperty[] = "mailrouter.class.property.v2";

 private:
  std::string m_Identity = "peer";
};
