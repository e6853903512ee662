// SPDX-License-Identifier: MIT
// Pending changes of one thread; a commit applies them together.
#include "CommonProperties/TCPropertyTransaction.h"

#include <utility>

#include "CommonProperties/TCPropertyCollection.h"

namespace Property {

TCPropertyTransaction::TCPropertyTransaction() : m_Active(false) {}

TCPropertyTransaction::~TCPropertyTransaction() {
  Rollback();
}

void TCPropertyTransaction::Begin() {
  TCPropertyCollection::AddTransaction(this);
}

void TCPropertyTransaction::Commit() {
  TCPropertyCollection::get()->CommitTransaction(this);
}

void TCPropertyTransaction::Rollback() {
  if (m_Active) {
    TCPropertyCollection::RemoveTransaction(this);
  }
  Reset();
}

void TCPropertyTransaction::Reset() {
  for (auto const& Change : m_Changes) {
    delete Change.second;
  }
  m_Changes.clear();
  m_Unrecorded.clear();
}

TCCommonPropertyObject* TCPropertyTransaction::Changed(TCPropertyID const& ID,
                                                       Accessories::TCRecordID const& Link,
                                                       std::string const& Value,
                                                       std::string const& MAC) {
  return Changed(TCPropertyKey(ID, Link, MAC), Value);
}

TCCommonPropertyObject* TCPropertyTransaction::Changed(TCPropertyKey const& Key,
                                                       std::string const& Value) {
  auto Object =
      std::make_unique<TCCommonPropertyObject>(Key.get_ID(), Key.get_Link(), Key.get_MAC());
  Object->SetRealValue(Value);
  if (!m_Changes.emplace(Key, Object.get()).second) {
    m_Unrecorded.push_back(std::move(Object));
    return m_Unrecorded.back().get();
  }
  return Object.release();
}

TCCommonPropertyObject* TCPropertyTransaction::Find(TCPropertyID const& ID,
                                                    Accessories::TCRecordID const& Link,
                                                    std::string const& MAC) const {
  return Find(TCPropertyKey(ID, Link, MAC));
}

TCCommonPropertyObject* TCPropertyTransaction::Find(TCPropertyKey const& Key) const {
  auto const Entry = m_Changes.find(Key);
  return Entry != m_Changes.end() ? Entry->second : nullptr;
}

}  // namespace Property
