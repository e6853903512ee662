// SPDX-License-Identifier: MIT
// Who may read and write which properties.
#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <vector>

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TSPropertyRange.h"

namespace Property {

/// Users and groups to whom something is granted. A sender is in a group by its own or by one of
/// its further groups.
class TCAccessList {
 public:
  void AddUser(uid_t User);
  void AddGroup(gid_t Group);
  void AddEverybody() { m_Everybody = true; }

  bool Grants(TSNorvMailSender const& Sender) const;
  /// Whether all members of the group are granted it as such.
  bool GrantsGroup(gid_t Group) const;

 private:
  std::vector<uid_t> m_Users;   // sorted
  std::vector<gid_t> m_Groups;  // sorted
  bool m_Everybody = false;
};

/// The rules in their order. Root and the user that this process runs as may do everything. For all
/// others the first rule that names a property decides; what no rule names belongs to the group,
/// and without a group to nobody else.
/// Copyable; not synchronised, but unchanging after the last Add().
class TCAccessRules {
 public:
  /// No rule, no group.
  TCAccessRules();

  /// The group that owns what no rule says otherwise. Comes before the first Add().
  void SetGroup(gid_t Group);

  /// Root and the user that this process runs as count as members of the group from now on, and as
  /// no more than that: for trying rules out as one of them. Without a group this process's own is
  /// the group. Comes before the first Add().
  void CountOwnersAsMembers();

  /// Appends a rule for properties of which each is named once. A list that is left out grants it
  /// to the group. Returns false, and adds nothing, when earlier rules name all the properties.
  [[nodiscard]] bool Add(std::vector<TSPropertyRange> const& Properties,
                         std::optional<TCAccessList> Read, std::optional<TCAccessList> Write);

  /// Whether anything at all is granted to the sender.
  bool MayConnect(TSNorvMailSender const& Sender) const;
  bool MayRead(TSNorvMailSender const& Sender, int Number) const;
  bool MayWrite(TSNorvMailSender const& Sender, int Number) const;
  /// Those of the numbers that the sender may read, in order.
  std::vector<TSPropertyRange> Readable(TSNorvMailSender const& Sender,
                                        TSPropertyRange Numbers) const;
  bool MayAdminister(TSNorvMailSender const& Sender) const;
  /// Whether no rule restricts the sender: only then may it have a copy of everything.
  bool MayCopy(TSNorvMailSender const& Sender) const { return IsOwner(Sender); }
  /// Whether MayRead() is true for every property. Cheap where no rule takes reading from the
  /// group.
  bool ReadsEverything(TSNorvMailSender const& Sender) const;

 private:
  struct TSRule {
    TCAccessList Read;
    TCAccessList Write;
  };
  struct TSSegment {
    int First = 0;
    std::size_t Rule = 0;
  };

  bool IsPrivileged(TSNorvMailSender const& Sender) const;
  bool IsOwner(TSNorvMailSender const& Sender) const;
  bool Grants(TCAccessList const& List, TSNorvMailSender const& Sender) const;
  TSRule const& FindRule(int Number) const;
  bool Cover(TSPropertyRange Range, std::size_t Rule);

  uid_t m_User;
  bool m_OwnersAreMembers = false;
  TSRule m_Unnamed;  // holds the group
  std::optional<gid_t> m_Group;
  std::vector<TSRule> m_Rules;
  std::vector<std::size_t> m_ReadRestrictions;  // rules that do not let the whole group read
  std::map<int, TSSegment> m_Segments;          // by last number; disjoint
};

}  // namespace Property
