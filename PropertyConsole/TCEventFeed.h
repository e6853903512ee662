// SPDX-License-Identifier: MIT
// The last changes as events for the page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "Platform/Utility/TCMutex.h"
#include "PropertyConsole/TCConsoleStore.h"
#include "PropertyConsole/TCServerQuestions.h"

namespace Property {

/// One event, as it goes over the wire.
struct TSEvent {
  std::uint64_t Number = 0;  ///< of the change
  std::string Device;        ///< whose value has changed; empty: of no device
  std::string Open;          ///< for who sees secrets
  std::string Masked;        ///< for everybody else

  std::size_t get_Size() const { return Open.size() + Masked.size(); }
};

/// The events of all streams, made once, on a thread of its own: what is secret only the server
/// knows. Keeps the last ones, within bounds. Synchronised.
class TCEventFeed {
 public:
  /// `Wake` is called whenever there is something new, by any thread, and does not wait.
  TCEventFeed(TCConsoleStore const& Store, TCServerQuestions& Server, std::function<void()> Wake);
  TCEventFeed(TCEventFeed const&) = delete;
  TCEventFeed& operator=(TCEventFeed const&) = delete;
  ~TCEventFeed();

  /// The number up to which there are events.
  std::uint64_t get_Last();
  /// Whether the events after that number are known. Those that are still to come count as known.
  bool Knows(std::uint64_t Number);
  /// The first event after that number; null where there is none yet, or it is not known any more.
  std::shared_ptr<TSEvent const> After(std::uint64_t Number);

 private:
  void Run();
  bool MakeNext();
  TSEvent EventOf(TSLoggedChange const& Change, std::set<int> const& Secrets) const;
  void Keep(TSEvent Event) PROPERTY_REQUIRES(m_Lock);

  TCConsoleStore const& m_Store;
  TCServerQuestions& m_Server;
  std::function<void()> const m_Wake;
  std::uint64_t m_Made;  // changes of which there are events; of the thread alone

  TCMutex m_Lock;
  std::uint64_t m_Last PROPERTY_GUARDED_BY(m_Lock);
  std::uint64_t m_Before PROPERTY_GUARDED_BY(m_Lock);  // the last number that is not known any more
  std::size_t m_Bytes PROPERTY_GUARDED_BY(m_Lock) = 0;
  std::deque<std::shared_ptr<TSEvent const>> m_Kept PROPERTY_GUARDED_BY(m_Lock);

  std::thread m_Thread;
};

/// An event that says that all is to be fetched again; `Number` is the last change before.
std::string ReloadEvent(std::string const& Revision);

}  // namespace Property
