// SPDX-License-Identifier: MIT
// Counts attempts and gives them back.
#include "PropertyConsole/TCAttemptLimit.h"

#include <algorithm>
#include <utility>

namespace Property {

TCAttemptLimit::TCAttemptLimit(TSLimits const& Limits, TCClock Now)
    : m_Limits(Limits), m_Now(std::move(Now)) {}

bool TCAttemptLimit::Take(std::string const& Key) {
  TCMutexLock const Lock(m_Lock);
  if (m_States.count(Key) == 0) {
    MakeRoom();
  }
  TSState& State = m_States.emplace(Key, TSState{0, m_Now()}).first->second;
  GiveBack(State);
  if (State.Taken >= m_Limits.Attempts) {
    return false;
  }
  ++State.Taken;
  return true;
}

void TCAttemptLimit::Forget(std::string const& Key) {
  TCMutexLock const Lock(m_Lock);
  m_States.erase(Key);
}

std::size_t TCAttemptLimit::get_Count() {
  TCMutexLock const Lock(m_Lock);
  return m_States.size();
}

void TCAttemptLimit::GiveBack(TSState& State) const {
  auto const Now = m_Now();
  if (State.Taken == 0) {
    State.Since = Now;
    return;
  }
  auto const Count = (Now - State.Since) / m_Limits.Recovery;
  if (Count >= static_cast<long long>(State.Taken)) {
    State = {0, Now};
  } else {
    State.Taken -= static_cast<unsigned>(Count);
    State.Since += Count * m_Limits.Recovery;
  }
}

void TCAttemptLimit::MakeRoom() {
  for (auto Place = m_States.begin(); Place != m_States.end();) {
    GiveBack(Place->second);
    Place = Place->second.Taken == 0 ? m_States.erase(Place) : std::next(Place);
  }
  if (m_States.size() >= m_Limits.Keys) {
    m_States.erase(
        std::min_element(m_States.begin(), m_States.end(), [](auto const& Left, auto const& Right) {
          return Left.second.Since < Right.second.Since;
        }));
  }
}

}  // namespace Property
