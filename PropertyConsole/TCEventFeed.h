// SPDX-License-Identifier: MIT
// The last changes as events for the page.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <thread>

#include "PropertyConsole/TCConsoleStore.h"
#include "PropertyConsole/TCKeptEvents.h"
#include "PropertyConsole/TCServerQuestions.h"

namespace Property {

/// Makes the events of all streams, once, on a thread of its own: what is secret only the server
/// knows.
class TCEventFeed {
 public:
  /// `Wake` is called whenever there is something new, by any thread, and does not wait.
  TCEventFeed(TCConsoleStore const& Store, TCServerQuestions& Server, std::function<void()> Wake);
  TCEventFeed(TCEventFeed const&) = delete;
  TCEventFeed& operator=(TCEventFeed const&) = delete;
  ~TCEventFeed();

  TCKeptEvents& get_Events() { return m_Events; }

 private:
  void Run();
  bool MakeNext();
  TSEvent EventOf(TSLoggedChange const& Change, std::set<int> const& Secrets) const;

  TCConsoleStore const& m_Store;
  TCServerQuestions& m_Server;
  std::function<void()> const m_Wake;
  std::uint64_t m_Made;  // changes of which there are events; of the thread alone
  TCKeptEvents m_Events;
  std::thread m_Thread;
};

}  // namespace Property
