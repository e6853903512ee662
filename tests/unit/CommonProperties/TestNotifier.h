// SPDX-License-Identifier: MIT
// A notifier whose queue and hook a test can reach.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyCollection.h"

/// Set the hook and its answer before it is enabled.
class TTestNotifier : public Property::TCCommonPropertyChangeNotifier {
 public:
  using TEntry = std::pair<std::string, Property::TENotificationType>;

  ~TTestNotifier() override { Property::TCPropertyCollection::DelNotifier(this); }

  using TCCommonPropertyChangeNotifier::m_Lock;
  using TCCommonPropertyChangeNotifier::m_Queue;

  /// Stored text and kind of each queued change, oldest first.
  std::vector<TEntry> get_Entries() {
    TCCriticalSectionLock Lock(m_Lock);
    std::vector<TEntry> Result;
    for (auto const& Entry : m_Queue) {
      Result.emplace_back(Entry.first.GetRealValue(), Entry.second);
    }
    return Result;
  }

  std::function<void()> m_OnQueued;
  bool m_Answer = true;

 protected:
  bool OnPropQueued() override {
    if (m_OnQueued) {
      m_OnQueued();
    }
    return m_Answer;
  }
};
