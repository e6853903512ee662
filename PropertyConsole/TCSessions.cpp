// SPDX-License-Identifier: MIT
// Keeps sessions within their time and number.
#include "PropertyConsole/TCSessions.h"

#include <utility>

#include "PropertyConsole/Tokens.h"

namespace Property {
namespace {

constexpr std::size_t kHalfToken = 32;

}  // namespace

TCSessions::TCSessions(TSSessionLimits const& Limits, TCClock Now)
    : m_Limits(Limits), m_Now(std::move(Now)) {}

std::optional<std::string> TCSessions::Open(std::string const& User, TERole Role,
                                            std::string const& Hash) {
  TSKept Kept = {{User, Role, Hash, MakeToken()}, MakeToken(), m_Now(), m_Now()};
  std::string const Place = MakeToken();
  std::string Token = Place + Kept.Secret;
  TCMutexLock const Lock(m_Lock);
  DropEnded();
  MakeRoomFor(User);
  if (m_Kept.size() >= m_Limits.Count) {
    return std::nullopt;
  }
  m_Kept.emplace(Place, std::move(Kept));
  return Token;
}

std::optional<TSSession> TCSessions::Use(std::string_view Token) {
  TCMutexLock const Lock(m_Lock);
  auto const Found = FindOpen(Token);
  if (Found == m_Kept.end()) {
    return std::nullopt;
  }
  Found->second.Used = m_Now();
  return Found->second.Session;
}

std::optional<TSSession> TCSessions::Look(std::string_view Token) {
  TCMutexLock const Lock(m_Lock);
  auto const Found = FindOpen(Token);
  return Found != m_Kept.end() ? std::optional(Found->second.Session) : std::nullopt;
}

void TCSessions::Close(std::string_view Token) {
  TCMutexLock const Lock(m_Lock);
  auto const Found = Find(Token);
  if (Found != m_Kept.end()) {
    m_Kept.erase(Found);
  }
}

std::size_t TCSessions::get_Count() {
  TCMutexLock const Lock(m_Lock);
  DropEnded();
  return m_Kept.size();
}

bool TCSessions::IsOver(TSKept const& Kept) const {
  auto const Now = m_Now();
  return Now - Kept.Used >= m_Limits.Idle || Now - Kept.Opened >= m_Limits.Life;
}

TCSessions::TCKept::iterator TCSessions::Find(std::string_view Token) {
  auto const Found = m_Kept.find(Token.substr(0, kHalfToken));
  bool const IsRight =
      Found != m_Kept.end() && AreSameSecret(Token.substr(kHalfToken), Found->second.Secret);
  return IsRight ? Found : m_Kept.end();
}

TCSessions::TCKept::iterator TCSessions::FindOpen(std::string_view Token) {
  auto const Found = Find(Token);
  if (Found == m_Kept.end() || !IsOver(Found->second)) {
    return Found;
  }
  m_Kept.erase(Found);
  return m_Kept.end();
}

void TCSessions::DropEnded() {
  for (auto Place = m_Kept.begin(); Place != m_Kept.end();) {
    Place = IsOver(Place->second) ? m_Kept.erase(Place) : std::next(Place);
  }
}

void TCSessions::MakeRoomFor(std::string const& User) {
  auto Oldest = m_Kept.end();
  std::size_t Count = 0;
  for (auto Place = m_Kept.begin(); Place != m_Kept.end(); ++Place) {
    if (Place->second.Session.User == User) {
      ++Count;
      bool const IsOlder = Oldest == m_Kept.end() || Place->second.Used < Oldest->second.Used;
      Oldest = IsOlder ? Place : Oldest;
    }
  }
  if (Count >= m_Limits.PerUser && Oldest != m_Kept.end()) {
    m_Kept.erase(Oldest);
  }
}

}  // namespace Property
