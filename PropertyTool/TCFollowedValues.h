// SPDX-License-Identifier: MIT
// All values of the server, kept up to date.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Utility/TCMutex.h"
#include "ServerClient/ServerValues.h"
#include "ServerClient/TCServerConnection.h"
#include "ServerClient/TSPropertyPlace.h"

namespace Property {

/// One value's change; null for none.
struct TSValueChange {
  TSPropertyPlace Place;
  std::optional<std::string> Former;
  std::optional<std::string> Data;
};

/// Loads the values and follows their changes, over any end of the server: what has changed while
/// it was away is told when it is back, each value with what it has come to. The callbacks run on
/// the connection's thread, one at a time; what they throw is thrown by Wait(). A slow callback
/// delays the next; nothing is collected meanwhile but by the server, which has its bounds.
class TCFollowedValues {
 public:
  using TCValues = std::map<TSPropertyPlace, std::string>;

  struct TSCallbacks {
    /// Before any other.
    std::function<void(TCValues const&)> OnLoaded;
    std::function<void(TSValueChange const&)> OnChange;
    /// All of one mail were told.
    std::function<void(TCValues const&)> OnEnd;
    std::function<void(bool Reachable)> OnState;
  };

  /// Before the first use of `Server`, which must outlive this.
  TCFollowedValues(TCServerConnection& Server, TSCallbacks Callbacks);
  TCFollowedValues(TCFollowedValues const&) = delete;
  TCFollowedValues& operator=(TCFollowedValues const&) = delete;
  ~TCFollowedValues();

  /// Throws TCToolFailure when the server cannot be asked.
  void Begin();
  /// Waits until Finish() was called or the time has passed (none: without limit), which it answers
  /// with false.
  bool Wait(std::optional<std::chrono::milliseconds> Time);
  /// Nothing is told from here on. Called from the callbacks, which hold the lock.
  void Finish();

 private:
  void OnMail(TCNorvMessage const& Mail);
  void OnState(bool Reachable);
  void Apply(TCNorvMessage const& Mail) PROPERTY_REQUIRES(m_Mutex);
  void Take(TSPropertyPlace const& Place, std::optional<std::string> const& Data)
      PROPERTY_REQUIRES(m_Mutex);
  void TakeWhole(TCValues const& Whole) PROPERTY_REQUIRES(m_Mutex);
  void Guard(std::function<void()> const& Function);

  TCServerConnection& m_Server;
  TSCallbacks const m_Callbacks;
  TCMutex m_Mutex;
  std::condition_variable m_Changed;
  TCValues m_Values PROPERTY_GUARDED_BY(m_Mutex);
  bool m_HasBegun PROPERTY_GUARDED_BY(m_Mutex) = false;
  bool m_IsFinished PROPERTY_GUARDED_BY(m_Mutex) = false;
  bool m_IsReachable PROPERTY_GUARDED_BY(m_Mutex) = true;
  std::exception_ptr m_Failure PROPERTY_GUARDED_BY(m_Mutex);
};

}  // namespace Property
