// SPDX-License-Identifier: MIT
// Keeps events within their number and size.
#include "PropertyConsole/TCKeptEvents.h"

#include <utility>

namespace Property {
namespace {

constexpr std::size_t kMostEvents = 4096;
constexpr std::size_t kMostEventBytes = std::size_t{8} << 20;

}  // namespace

std::string ReloadEvent(std::string const& Revision) {
  return "id: " + Revision + "\nevent: reload\ndata: {}\n\n";
}

std::uint64_t TCKeptEvents::get_Last() {
  TCMutexLock const Lock(m_Lock);
  return m_Last;
}

bool TCKeptEvents::Knows(std::uint64_t Number) {
  TCMutexLock const Lock(m_Lock);
  return Number >= m_Before;
}

std::shared_ptr<TSEvent const> TCKeptEvents::After(std::uint64_t Number) {
  TCMutexLock const Lock(m_Lock);
  if (Number < m_Before || Number >= m_Last) {
    return nullptr;
  }
  return m_Kept[m_Kept.size() - static_cast<std::size_t>(m_Last - Number)];
}

void TCKeptEvents::Add(std::deque<TSEvent> Events) {
  TCMutexLock const Lock(m_Lock);
  for (TSEvent& Event : Events) {
    Keep(std::move(Event));
  }
}

void TCKeptEvents::Forget(std::uint64_t Number) {
  TCMutexLock const Lock(m_Lock);
  m_Kept.clear();
  m_Bytes = 0;
  m_Last = m_Before = Number;
}

void TCKeptEvents::Keep(TSEvent Event) {
  m_Last = Event.Number;
  m_Bytes += Event.get_Size();
  m_Kept.push_back(std::make_shared<TSEvent const>(std::move(Event)));
  while (m_Kept.size() > kMostEvents || m_Bytes > kMostEventBytes) {
    m_Before = m_Kept.front()->Number;
    m_Bytes -= m_Kept.front()->get_Size();
    m_Kept.pop_front();
  }
}

}  // namespace Property
