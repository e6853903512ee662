// SPDX-License-Identifier: MIT
// The last events of all streams.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "Platform/Utility/TCMutex.h"

namespace Property {

/// One event, as it goes over the wire.
struct TSEvent {
  std::uint64_t Number = 0;  ///< of the change
  std::string Device;        ///< whose value has changed; empty: of no device
  std::string Open;          ///< for who sees secrets
  std::string Masked;        ///< for everybody else

  std::size_t get_Size() const { return Open.size() + Masked.size(); }
};

/// The text of an event that says that all is to be fetched again; that is so behind the revision.
std::string ReloadEvent(std::string const& Revision);

/// Events by the numbers of their changes, which have no gaps. Keeps the last ones, within bounds.
/// Synchronised.
class TCKeptEvents {
 public:
  /// `Last` is the number of the last change of which there is to be no event.
  explicit TCKeptEvents(std::uint64_t Last) : m_Last(Last), m_Before(Last) {}
  TCKeptEvents(TCKeptEvents const&) = delete;
  TCKeptEvents& operator=(TCKeptEvents const&) = delete;

  /// The number up to which there are events.
  std::uint64_t get_Last();
  /// Whether the events after that number are known. Those that are still to come count as known.
  bool Knows(std::uint64_t Number);
  /// The first event after that number; null where there is none yet, or it is not known any more.
  std::shared_ptr<TSEvent const> After(std::uint64_t Number);

  /// Adds the next ones, all at once.
  void Add(std::deque<TSEvent> Events);
  /// Forgets all up to that number.
  void Forget(std::uint64_t Number);

 private:
  void Keep(TSEvent Event) PROPERTY_REQUIRES(m_Lock);

  TCMutex m_Lock;
  std::uint64_t m_Last PROPERTY_GUARDED_BY(m_Lock);
  std::uint64_t m_Before PROPERTY_GUARDED_BY(m_Lock);  // the last number that is not known any more
  std::size_t m_Bytes PROPERTY_GUARDED_BY(m_Lock) = 0;
  std::deque<std::shared_ptr<TSEvent const>> m_Kept PROPERTY_GUARDED_BY(m_Lock);
};

}  // namespace Property
