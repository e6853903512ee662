// SPDX-License-Identifier: MIT
// A peer of the property server that writes its frames by hand.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/FramePeer.h"

/// A connection that sends what the test puts into its frames. The frames of the property server
/// are written here and nowhere else in the tests of whole processes.
class TWirePeer : public TFramePeer {
 public:
  using TFramePeer::TFramePeer;

  /// Subscribes to the properties, or to another class, as one that knows the mails up to a place.
  bool Subscribe(std::uint64_t Epoch = 0, std::uint64_t Sequence = 0,
                 std::string const& Class = kProperty, std::int32_t Version = kPropertyVersion);

  /// A frame to the property server's mailbox, complete but for its mails.
  static TSWireFrame NewMail(std::uint64_t Number, std::string const& Class = kProperty,
                             std::int32_t Version = kPropertyVersion);
  TSWireFrame NewRequest(std::string const& Class = kProperty,
                         std::int32_t Version = kPropertyVersion);
  /// A mail to a mailbox that nobody owns.
  static TSWireFrame NewOwnerlessMail(std::string const& Records = std::string());
  /// A sound mail that gives a property a value.
  static TSWireFrame NewChange(std::uint64_t Number, int Property, std::string const& Value,
                               std::string const& Link = "", std::string const& MAC = "");
  /// A sound mail that gives several properties, of no device, a value at once.
  static TSWireFrame NewTransaction(std::uint64_t Number,
                                    std::vector<std::pair<int, std::string>> const& Values);
  /// Several mails in one frame: what is announced of them, and then the letters of their fields
  /// and their bytes.
  static TSWireFrame NewMails(std::uint64_t First, std::uint16_t Count, char const* Fields,
                              std::string const& Bytes);
  /// Sound mails in one frame that give a property one value after the other.
  static TSWireFrame NewChanges(std::uint64_t First, int Property,
                                std::vector<std::string> const& Values);
  /// A sound request for all values.
  TSWireFrame NewRequestForAll();
  /// A sound request for one value.
  TSWireFrame NewRequestForOne();

  /// The record of a change; bit 0 of `Assigned` is for the property's number.
  static std::string ChangeRecord(int Property, std::string const& Value,
                                  std::string const& Link = "", std::string const& MAC = "",
                                  unsigned Assigned = kAllFields);
  /// A sound change, as one of several mails.
  static std::string PackedChange(int Property, std::string const& Value,
                                  std::string const& Link = "", std::string const& MAC = "");

  /// The server's epoch, from its answer to a request for all values; 0 when there is none.
  std::uint64_t AskEpoch();
  /// Waits for the next acknowledgement; nothing when the connection ends.
  std::optional<std::uint64_t> HearAcknowledged();
  /// Waits for the next frame about mails: "Acknowledged", "Published" and whose mail it is
  /// (another's, own, up to date), or "PublishedOwn" for mails that their sender keeps, and the
  /// mail's number. "" when the connection ends.
  std::string HearOfMail();
  /// Waits for the next published mail with records: the values in it, "201=a 202=b". "" when the
  /// connection ends.
  std::string HearValues();

  static constexpr char kMailbox[] = "@mailrouter.property";
  static constexpr char kProperty[] = "property";
  static constexpr std::int32_t kPropertyVersion = 2;
  /// Letters of the fields of a change: number, value, link, device and whether it was loaded.
  static constexpr char kChangeFields[] = "isssb";
  static constexpr unsigned kAllFields = 31;
  static constexpr int kChange[] = {2, 3};
  static constexpr int kRequestAll[] = {1, 1};
  static constexpr int kRequestOne[] = {1, 2};
};
