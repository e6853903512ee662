// SPDX-License-Identifier: MIT
// What the configuration file of property-server says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "PropertyServer/TCAccessRules.h"
#include "PropertyServer/TSHistoryLimits.h"

namespace Property {

/// What the values, and one peer, may take of the server.
struct TSServerLimits {
  std::size_t Values = 2000000;                       ///< of all processes together
  std::size_t Bytes = std::size_t{512} << 20;         ///< of their texts
  std::size_t WaitingBytes = std::size_t{256} << 20;  ///< of mails that are not stored yet
  std::size_t ValueBytes = std::size_t{16} << 20;
  std::size_t MailBytes = std::size_t{64} << 20;
  std::size_t MailRecords = 100000;
  unsigned MailsPerSecond = 250000;
  unsigned ConnectionsPerUser = 512;
  unsigned Connections = 4096;
};

/// Access rules, limits and secrets. Names of users and groups are looked up when the file is
/// read. Copyable; unchanging, so that it may be read on several threads.
class TCServerConfiguration {
 public:
  /// The defaults: no rules, no secrets, the group "property" where the system has it.
  TCServerConfiguration();

  /// Reads a file's text. Throws TCException with "FILE:LINE: " and what is wrong.
  static TCServerConfiguration Parse(std::string const& Text, std::string const& FileName);
  /// The same, for trying rules out: root and the user that this process runs as are held to them,
  /// as members of the group.
  static TCServerConfiguration ParseForMembers(std::string const& Text,
                                               std::string const& FileName);
  /// Reads a file. Throws TCException, also when it can not be read.
  static TCServerConfiguration Load(std::string const& Path);

  /// Whether anything at all is granted to the sender.
  bool MayConnect(TSNorvMailSender const& Sender) const { return m_Rules.MayConnect(Sender); }
  bool MayRead(TSNorvMailSender const& Sender, int Number) const {
    return m_Rules.MayRead(Sender, Number);
  }
  bool MayWrite(TSNorvMailSender const& Sender, int Number) const {
    return m_Rules.MayWrite(Sender, Number);
  }
  /// Those of the numbers that the sender may read, in order.
  std::vector<TSPropertyRange> Readable(TSNorvMailSender const& Sender,
                                        TSPropertyRange Numbers) const {
    return m_Rules.Readable(Sender, Numbers);
  }
  /// Whether the sender may ask for the status.
  bool MayAdminister(TSNorvMailSender const& Sender) const { return m_Rules.MayAdminister(Sender); }
  /// Who that is, for a message.
  std::string get_Administrators() const;
  /// Whether the sender may have a copy of the database, with all values and secrets.
  bool MayCopy(TSNorvMailSender const& Sender) const { return m_Rules.MayCopy(Sender); }
  /// Whether MayRead() is true for every property.
  bool ReadsEverything(TSNorvMailSender const& Sender) const {
    return m_Rules.ReadsEverything(Sender);
  }
  /// Whether the property's values are kept out of history and logs.
  bool IsSecret(int Number) const { return Contains(m_Secrets, Number); }
  /// Those properties, sorted and disjoint.
  std::vector<TSPropertyRange> const& get_Secrets() const { return m_Secrets; }

  TSServerLimits const& get_Limits() const { return m_Limits; }
  /// What the values may be after a change of the sender that makes them more. A quarter is kept
  /// for administrators: who may write no more than what a rule names can not use up what all need.
  TSServerLimits get_LimitsOf(TSNorvMailSender const& Sender) const;
  TSHistoryLimits const& get_History() const { return m_History; }

 private:
  class TCReader;

  void SetGroup(gid_t Group, std::string const& Name);

  TCAccessRules m_Rules;
  std::string m_GroupName;                 // of the rules' group; empty for none
  std::vector<TSPropertyRange> m_Secrets;  // sorted, disjoint
  TSServerLimits m_Limits;
  TSHistoryLimits m_History;
};

}  // namespace Property
