// SPDX-License-Identifier: MIT
// Keeps changes within their number and size.
#include "PropertyConsole/TCChangeLog.h"

#include <algorithm>
#include <iterator>
#include <list>
#include <utility>

#include "CommonProperties/TCPropertyCollection.h"

namespace Property {

TCChangeLog::TCChangeLog(TSChangeLogLimits const& Limits) : m_Limits(Limits) {
  Enable();
}

TCChangeLog::~TCChangeLog() {
  TCPropertyCollection::DelNotifier(this);
}

std::uint64_t TCChangeLog::get_Last() {
  TCMutexLock const Lock(m_Keeping);
  return m_Last;
}

std::optional<std::set<TCPropertyKey>> TCChangeLog::PlacesAfter(std::uint64_t Number) {
  TCMutexLock const Lock(m_Keeping);
  if (!Knows(Number)) {
    return std::nullopt;
  }
  std::set<TCPropertyKey> Places;
  for (auto Change = m_Kept.rbegin(); Change != m_Kept.rend() && Change->Number > Number;
       ++Change) {
    Places.insert(Change->Key);
  }
  return Places;
}

std::optional<std::vector<TSLoggedChange>> TCChangeLog::AwaitAfter(std::uint64_t Number,
                                                                   std::size_t Most) {
  TCMutexLock Lock(m_Keeping);
  while (m_Last <= Number && !m_IsInterrupted) {
    Lock.Wait(m_Changed);
  }
  if (m_IsInterrupted) {
    return std::vector<TSLoggedChange>();
  }
  if (!Knows(Number)) {
    return std::nullopt;
  }
  auto const First = m_Kept.end() - static_cast<std::ptrdiff_t>(m_Last - Number);
  auto const Count = std::min(Most, static_cast<std::size_t>(m_Kept.end() - First));
  return std::vector<TSLoggedChange>(First, First + static_cast<std::ptrdiff_t>(Count));
}

void TCChangeLog::Interrupt() {
  {
    TCMutexLock const Lock(m_Keeping);
    m_IsInterrupted = true;
  }
  m_Changed.notify_all();
}

bool TCChangeLog::OnPropQueued() {
  std::list<std::pair<TCCommonPropertyObject, TENotificationType>> Queue;
  {
    TCCriticalSectionLock const Lock(m_Lock);
    Queue.swap(m_Queue);
  }
  {
    TCMutexLock const Lock(m_Keeping);
    for (auto const& [Object, Type] : Queue) {
      Add(Object, Type);
    }
  }
  m_Changed.notify_all();
  return true;
}

// All changes after that one. A number that is none yet belongs to nobody.
bool TCChangeLog::Knows(std::uint64_t Number) const {
  return Number <= m_Last && m_Last - Number <= m_Kept.size();
}

void TCChangeLog::Add(TCCommonPropertyObject const& Object, TENotificationType Type) {
  TSLoggedChange Change{
      ++m_Last, TCPropertyKey(Object.get_ID(), Object.get_Link(), Object.get_MAC()), std::nullopt};
  if (Type != eNotifyDeleted) {
    Change.Data = Object.GetRealValue();
    m_Bytes += Change.Data->size();
  }
  m_Kept.push_back(std::move(Change));
  while (m_Kept.size() > m_Limits.Count || m_Bytes > m_Limits.Bytes) {
    m_Bytes -= m_Kept.front().Data ? m_Kept.front().Data->size() : 0;
    m_Kept.pop_front();
  }
}

}  // namespace Property
