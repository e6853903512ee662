// SPDX-License-Identifier: MIT
// What belongs to the process and not to its store, which may come later.
#pragma once

#include <atomic>

#include "CommonProperties/Store/TCCurrentDevice.h"
#include "CommonProperties/Store/TCOpenTransactions.h"
#include "CommonProperties/TCPropertyCollection.h"

namespace Property {

/// Made at its first use and never destroyed, so that static objects and threads use it from the
/// first initialiser to the end of the process. Guarded by the store's lock.
class TCProcessState {
 public:
  static TCProcessState& Get() {
    TCProcessState* const Made = m_Made.load(std::memory_order_acquire);
    return Made != nullptr ? *Made : Make();
  }

  TCCurrentDevice m_Device PROPERTY_GUARDED_BY(TCPropertyCollection::m_CSection);
  TCOpenTransactions m_Transactions PROPERTY_GUARDED_BY(TCPropertyCollection::m_CSection);

 private:
  static TCProcessState& Make();

  static std::atomic<TCProcessState*> m_Made;
};

}  // namespace Property
