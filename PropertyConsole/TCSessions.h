// SPDX-License-Identifier: MIT
// Who is signed in.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Utility/TCMutex.h"
#include "PropertyConsole/TERole.h"

namespace Property {

/// A clock that tests can move.
using TCClock = std::function<std::chrono::steady_clock::time_point()>;

/// One browser that a user has signed in with.
struct TSSession {
  std::string User;
  TERole Role = TERole::eViewer;
  std::string Hash;       ///< of the password that was right; another one ends the session
  std::string CSRFToken;  ///< what every writing request has to repeat
};

struct TSSessionLimits {
  std::chrono::seconds Idle{1800};   ///< a session that nobody uses ends after this time
  std::chrono::seconds Life{43200};  ///< and any other after this
  std::size_t PerUser = 16;          ///< one more ends the one that was used longest ago
  std::size_t Count = 256;
};

/// Sessions by the token that the browser has; in memory alone, so that a start ends them all.
/// Synchronised.
class TCSessions {
 public:
  explicit TCSessions(
      TSSessionLimits const& Limits, TCClock Now = [] { return std::chrono::steady_clock::now(); });

  /// Makes a session and answers its token: of nothing when there are as many as there may be.
  std::optional<std::string> Open(std::string const& User, TERole Role, std::string const& Hash);
  /// The session of the token, which is in use from now on; none when there is none any more.
  std::optional<TSSession> Use(std::string_view Token);
  /// The same, which is no use of it.
  std::optional<TSSession> Look(std::string_view Token);
  /// Ends the session of the token, if there is one.
  void Close(std::string_view Token);
  std::size_t get_Count();

 private:
  struct TSKept {
    TSSession Session;
    std::string Secret;
    std::chrono::steady_clock::time_point Opened;
    std::chrono::steady_clock::time_point Used;
  };
  using TCKept = std::map<std::string, TSKept, std::less<>>;

  bool IsOver(TSKept const& Kept) const;
  TCKept::iterator Find(std::string_view Token) PROPERTY_REQUIRES(m_Lock);
  TCKept::iterator FindOpen(std::string_view Token) PROPERTY_REQUIRES(m_Lock);
  void DropEnded() PROPERTY_REQUIRES(m_Lock);
  void MakeRoomFor(std::string const& User) PROPERTY_REQUIRES(m_Lock);

  TSSessionLimits const m_Limits;
  TCClock const m_Now;

  TCMutex m_Lock;
  // By the token's first half; the second is compared as a secret, so that the search tells nothing
  // of it.
  TCKept m_Kept PROPERTY_GUARDED_BY(m_Lock);
};

}  // namespace Property
