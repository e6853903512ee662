// SPDX-License-Identifier: MIT
// Charges users for the work that they make.
#include "Platform/Messaging/Router/TCRouterUser.h"

#include <iterator>

namespace {

constexpr std::uint64_t kNothing = 250;  // what everybody's usual messages take far less than
constexpr std::uint64_t kBurst = 25000;  // granted at once
constexpr std::uint64_t kShare = 2;      // a user gets one part of so many
constexpr std::size_t kFew = 64;         // users that are never looked through

}  // namespace

bool TCRouterUser::Charge(std::uint64_t Time, std::uint64_t Now) {
  if (Time <= kNothing) {
    return false;
  }
  m_Owed = OwedAt(Now) + Time;
  m_Then = Now;
  return true;
}

std::uint64_t TCRouterUser::get_Pause(std::uint64_t Now) const {
  std::uint64_t const Owed = OwedAt(Now);
  return Owed > kBurst ? (Owed - kBurst) * kShare : 0;
}

bool TCRouterUser::IsRested(std::uint64_t Now) const {
  return OwedAt(Now) == 0 && m_LogBudget.IsWhole();
}

std::uint64_t TCRouterUser::OwedAt(std::uint64_t Now) const {
  // Who asks by the time at which its turn began may ask for one that is before m_Then.
  std::uint64_t const Granted = Now > m_Then ? (Now - m_Then) / kShare : 0;
  return m_Owed > Granted ? m_Owed - Granted : 0;
}

std::shared_ptr<TCRouterUser> TCRouterUsers::Find(uid_t User, std::uint64_t Now) {
  std::shared_ptr<TCRouterUser>& Found = m_Users[User];
  if (Found) {
    return Found;
  }
  auto Added = std::make_shared<TCRouterUser>();
  Found = Added;
  if (m_Users.size() > kFew + 2 * m_Tidied) {
    ForgetRested(Now);
  }
  return Added;
}

void TCRouterUsers::ForgetRested(std::uint64_t Now) {
  for (auto Place = m_Users.begin(); Place != m_Users.end();) {
    bool const Gone = Place->second.use_count() == 1 && Place->second->IsRested(Now);
    Place = Gone ? m_Users.erase(Place) : std::next(Place);
  }
  m_Tidied = m_Users.size();
}
