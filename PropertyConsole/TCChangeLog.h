// SPDX-License-Identifier: MIT
// What has changed in the store lately.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyKey.h"
#include "Platform/Utility/TCMutex.h"

namespace Property {

/// A value that has changed. Null data: it was removed.
struct TSLoggedChange {
  std::uint64_t Number = 0;
  TCPropertyKey Key;
  std::optional<std::string> Data;
};

struct TSChangeLogLimits {
  std::size_t Count = 10000;
  std::size_t Bytes = std::size_t{8} << 20;  ///< of texts
};

/// Numbers the changes of the store from 1 and keeps the last ones. Synchronised; called with the
/// store's lock held, so its own lock is never held while the store is used.
class TCChangeLog : public TCCommonPropertyChangeNotifier {
 public:
  explicit TCChangeLog(TSChangeLogLimits const& Limits = {});
  TCChangeLog(TCChangeLog const&) = delete;
  TCChangeLog& operator=(TCChangeLog const&) = delete;
  ~TCChangeLog() override;

  /// The number of the last change; 0 before the first.
  std::uint64_t get_Last();
  /// The places of all later changes; none when not all of them are known any more.
  std::optional<std::set<TCPropertyKey>> PlacesAfter(std::uint64_t Number);
  /// Waits for later changes, for as long as Interrupt() is not called: the first `Most` of them,
  /// the oldest first. None: they are not known any more. Empty: interrupted.
  std::optional<std::vector<TSLoggedChange>> AwaitAfter(std::uint64_t Number, std::size_t Most);
  /// Has AwaitAfter() return, from now on at once.
  void Interrupt();

 protected:
  bool OnPropQueued() override;

 private:
  bool Knows(std::uint64_t Number) const PROPERTY_REQUIRES(m_Keeping);
  void Add(TCCommonPropertyObject const& Object, TENotificationType Type)
      PROPERTY_REQUIRES(m_Keeping);

  TSChangeLogLimits const m_Limits;
  TCMutex m_Keeping;
  std::condition_variable m_Changed;
  std::uint64_t m_Last PROPERTY_GUARDED_BY(m_Keeping) = 0;
  std::deque<TSLoggedChange> m_Kept PROPERTY_GUARDED_BY(m_Keeping);
  std::size_t m_Bytes PROPERTY_GUARDED_BY(m_Keeping) = 0;  // of their texts
  bool m_IsInterrupted PROPERTY_GUARDED_BY(m_Keeping) = false;
};

}  // namespace Property
