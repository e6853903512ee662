// SPDX-License-Identifier: MIT
// Slows down who guesses passwords.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

#include "Platform/Utility/TCMutex.h"
#include "PropertyConsole/TCSessions.h"

namespace Property {

/// Counts attempts by key, an address or a user's name: each takes one of a few that the key has,
/// and time gives them back one by one. Keeps a bounded number of keys: beyond it, the one that has
/// rested longest is forgotten. Synchronised.
class TCAttemptLimit {
 public:
  struct TSLimits {
    unsigned Attempts = 10;             ///< at once
    std::chrono::seconds Recovery{30};  ///< until one of them is given back
    std::size_t Keys = 4096;
  };

  explicit TCAttemptLimit(
      TSLimits const& Limits, TCClock Now = [] { return std::chrono::steady_clock::now(); });

  /// Takes an attempt; false when the key has none left.
  [[nodiscard]] bool Take(std::string const& Key);
  /// Gives the key all its attempts again: the password was right.
  void Forget(std::string const& Key);
  std::size_t get_Count();

 private:
  struct TSState {
    unsigned Taken = 0;
    std::chrono::steady_clock::time_point Since;  // of which time has given back nothing
  };

  void GiveBack(TSState& State) const;
  void MakeRoom() PROPERTY_REQUIRES(m_Lock);

  TSLimits const m_Limits;
  TCClock const m_Now;

  TCMutex m_Lock;
  std::map<std::string, TSState> m_States PROPERTY_GUARDED_BY(m_Lock);
};

}  // namespace Property
