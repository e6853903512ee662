// SPDX-License-Identifier: MIT
// Switches a fan as the temperature says.
#pragma once

#include <vector>

#include "CommonProperties/TCPropertyEvents.h"

namespace Fan {

/// Decides when it is made and after each change of what it depends on. The store is there before
/// it. Used by one thread: the one whose loop watches get_Events().
class TCFanControl {
 public:
  TCFanControl();

  Property::TCPropertyEvents& get_Events() { return m_Events; }

 private:
  static void Decide();

  Property::TCPropertyEvents m_Events;
  std::vector<Property::TCPropertyEvents::TCSubscription> m_Subscriptions;
};

}  // namespace Fan
