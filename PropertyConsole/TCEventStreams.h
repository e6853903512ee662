// SPDX-License-Identifier: MIT
// Tells all open pages of changes.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <thread>
#include <vector>

#include "Platform/Utility/TCFileDescriptor.h"
#include "Platform/Utility/TCMutex.h"
#include "PropertyConsole/TCEventFeed.h"
#include "PropertyConsole/TCEventStream.h"

namespace Property {

/// One thread that writes to all streams. Synchronised.
class TCEventStreams {
 public:
  /// `IsIn` says whether a stream's user is still signed in and has its role.
  TCEventStreams(TCConsoleStore const& Store, TCServerQuestions& Server,
                 std::function<bool(TSStreamStart const&)> IsIn);
  TCEventStreams(TCEventStreams const&) = delete;
  TCEventStreams& operator=(TCEventStreams const&) = delete;
  /// Ends all streams.
  ~TCEventStreams();

  /// Takes a connection over; its head is sent.
  void Add(std::unique_ptr<TCTransport> Transport, TSStreamStart Start);
  /// Whether all changes after that number can still be told.
  bool Knows(std::uint64_t Number) { return m_Feed.get_Events().Knows(Number); }

 private:
  void Run();
  bool TakeNew();
  bool ServeAll();
  void WaitForWork(int Milliseconds);
  void Wake() const;

  TCConsoleStore const& m_Store;
  std::function<bool(TSStreamStart const&)> const m_IsIn;
  TCFileDescriptor const m_WakeFile;
  TCEventFeed m_Feed;
  std::list<TCEventStream> m_Streams;  // of the thread alone

  TCMutex m_Lock;
  std::list<TCEventStream> m_New PROPERTY_GUARDED_BY(m_Lock);
  bool m_Stops PROPERTY_GUARDED_BY(m_Lock) = false;

  std::thread m_Thread;
};

}  // namespace Property
