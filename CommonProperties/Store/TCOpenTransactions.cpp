// SPDX-License-Identifier: MIT
// Transactions by the number of their thread.
#include "CommonProperties/Store/TCOpenTransactions.h"

#include <utility>

#include "Platform/Utility/TCUtilities.h"

namespace Property {

void TCOpenTransactions::Add(TCPropertyTransaction* Transaction) {
  m_Open.emplace(TCUtilities::GetCurrentThreadID(), Transaction);
}

void TCOpenTransactions::Remove() {
  m_Open.erase(TCUtilities::GetCurrentThreadID());
}

TCPropertyTransaction* TCOpenTransactions::FindOfThread() const {
  auto const Entry = m_Open.find(TCUtilities::GetCurrentThreadID());
  return Entry != m_Open.end() ? Entry->second : nullptr;
}

void TCOpenTransactions::KeepInChild(int Forking) {
  auto Own = m_Open.extract(Forking);
  m_Open.clear();
  if (!Own.empty()) {
    Own.key() = TCUtilities::GetCurrentThreadID();
    m_Open.insert(std::move(Own));
  }
}

}  // namespace Property
