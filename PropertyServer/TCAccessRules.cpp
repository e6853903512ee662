// SPDX-License-Identifier: MIT
// Finds the rule that decides on a property.
#include "PropertyServer/TCAccessRules.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Property {

namespace {

template <class T>
void InsertSorted(std::vector<T>& Values, T Value) {
  auto const Place = std::lower_bound(Values.begin(), Values.end(), Value);
  if (Place == Values.end() || *Place != Value) {
    Values.insert(Place, Value);
  }
}

template <class T>
bool Contains(std::vector<T> const& Values, T Value) {
  return std::binary_search(Values.begin(), Values.end(), Value);
}

}  // namespace

void TCAccessList::AddUser(uid_t User) {
  InsertSorted(m_Users, User);
}

void TCAccessList::AddGroup(gid_t Group) {
  InsertSorted(m_Groups, Group);
}

bool TCAccessList::Grants(TSNorvMailSender const& Sender) const {
  return m_Everybody || Contains(m_Users, Sender.User) || Contains(m_Groups, Sender.Group) ||
         std::any_of(Sender.Groups.begin(), Sender.Groups.end(),
                     [this](gid_t Group) { return Contains(m_Groups, Group); });
}

bool TCAccessList::GrantsGroup(gid_t Group) const {
  return m_Everybody || Contains(m_Groups, Group);
}

TCAccessRules::TCAccessRules() : m_User(geteuid()) {}

void TCAccessRules::SetGroup(gid_t Group) {
  m_Group = Group;
  m_Unnamed = TSRule();
  m_Unnamed.Read.AddGroup(Group);
  m_Unnamed.Write.AddGroup(Group);
}

void TCAccessRules::CountOwnersAsMembers() {
  m_OwnersAreMembers = true;
  if (!m_Group) {
    SetGroup(getegid());
  }
}

bool TCAccessRules::Add(std::vector<TSPropertyRange> const& Properties,
                        std::optional<TCAccessList> Read, std::optional<TCAccessList> Write) {
  std::size_t const Rule = m_Rules.size();
  bool Decides = false;
  for (TSPropertyRange const Range : Properties) {
    Decides = Cover(Range, Rule) || Decides;
  }
  if (!Decides) {
    return false;
  }
  m_Rules.push_back(
      {Read ? *std::move(Read) : m_Unnamed.Read, Write ? *std::move(Write) : m_Unnamed.Write});
  if (m_Group && !m_Rules.back().Read.GrantsGroup(*m_Group)) {
    m_ReadRestrictions.push_back(Rule);
  }
  return true;
}

// Gives the rule the numbers of the range that no earlier one has.
bool TCAccessRules::Cover(TSPropertyRange Range, std::size_t Rule) {
  bool Covered = false;
  std::int64_t Next = Range.First;  // wider, because it goes one past the last number
  auto Segment = m_Segments.lower_bound(Range.First);
  while (Next <= Range.Last) {
    bool const Ends = Segment == m_Segments.end() || Segment->second.First > Range.Last;
    std::int64_t const Last = Ends ? Range.Last : std::int64_t{Segment->second.First} - 1;
    if (Next <= Last) {
      m_Segments.emplace_hint(Segment, static_cast<int>(Last),
                              TSSegment{static_cast<int>(Next), Rule});
      Covered = true;
    }
    if (Ends) {
      break;
    }
    Next = std::int64_t{Segment->first} + 1;
    ++Segment;
  }
  return Covered;
}

bool TCAccessRules::IsPrivileged(TSNorvMailSender const& Sender) const {
  return Sender.User == 0 || Sender.User == m_User;
}

bool TCAccessRules::IsOwner(TSNorvMailSender const& Sender) const {
  return !m_OwnersAreMembers && IsPrivileged(Sender);
}

bool TCAccessRules::Grants(TCAccessList const& List, TSNorvMailSender const& Sender) const {
  return List.Grants(Sender) ||
         (m_OwnersAreMembers && IsPrivileged(Sender) && m_Group && List.GrantsGroup(*m_Group));
}

TCAccessRules::TSRule const& TCAccessRules::FindRule(int Number) const {
  auto const Segment = m_Segments.lower_bound(Number);
  bool const Named = Segment != m_Segments.end() && Segment->second.First <= Number;
  return Named ? m_Rules[Segment->second.Rule] : m_Unnamed;
}

bool TCAccessRules::MayConnect(TSNorvMailSender const& Sender) const {
  return MayAdminister(Sender) ||
         std::any_of(m_Rules.begin(), m_Rules.end(), [this, &Sender](TSRule const& Rule) {
           return Grants(Rule.Read, Sender) || Grants(Rule.Write, Sender);
         });
}

bool TCAccessRules::MayRead(TSNorvMailSender const& Sender, int Number) const {
  return IsOwner(Sender) || Grants(FindRule(Number).Read, Sender);
}

// One rule, or none, decides on all numbers up to the end of a segment, or up to the next one.
std::vector<TSPropertyRange> TCAccessRules::Readable(TSNorvMailSender const& Sender,
                                                     TSPropertyRange Numbers) const {
  std::vector<TSPropertyRange> Ranges;
  std::int64_t Next = Numbers.First;
  while (Next <= Numbers.Last) {
    auto const Segment = m_Segments.lower_bound(static_cast<int>(Next));
    std::int64_t Last = Numbers.Last;
    if (Segment != m_Segments.end()) {
      bool const Within = Segment->second.First <= Next;
      Last = std::min<std::int64_t>(
          Last, Within ? Segment->first : std::int64_t{Segment->second.First} - 1);
    }
    if (MayRead(Sender, static_cast<int>(Next))) {
      Ranges.push_back({static_cast<int>(Next), static_cast<int>(Last)});
    }
    Next = Last + 1;
  }
  return Unite(std::move(Ranges), {});
}

bool TCAccessRules::MayWrite(TSNorvMailSender const& Sender, int Number) const {
  return IsOwner(Sender) || Grants(FindRule(Number).Write, Sender);
}

bool TCAccessRules::MayAdminister(TSNorvMailSender const& Sender) const {
  return IsOwner(Sender) || Grants(m_Unnamed.Read, Sender);
}

bool TCAccessRules::ReadsEverything(TSNorvMailSender const& Sender) const {
  return IsOwner(Sender) || (Grants(m_Unnamed.Read, Sender) &&
                             std::all_of(m_ReadRestrictions.begin(), m_ReadRestrictions.end(),
                                         [this, &Sender](std::size_t Rule) {
                                           return Grants(m_Rules[Rule].Read, Sender);
                                         }));
}

}  // namespace Property
