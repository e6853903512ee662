// SPDX-License-Identifier: MIT
// How values enter and leave the store, and how long they live after that.
#include "CommonProperties/Store/TCStoredValues.h"

#include <utility>

#include "CommonProperties/KeyOf.h"
#include "CommonProperties/TCPropertyID.h"

using Accessories::TCNullTypes;
using Accessories::TCRecordID;

namespace Property {

TCCommonPropertyObject const* TCStoredValues::FindRemoved(TCPropertyKey const& Key) const {
  auto const Removed = m_Removed.find(Key);
  return Removed != m_Removed.end() ? Removed->second.get() : nullptr;
}

std::list<TCCommonPropertyObject> TCStoredValues::FindLinked(
    TCRecordID const& Link, TCNullTypes<int> const& ClassID) const {
  std::list<TCCommonPropertyObject> Linked;
  for (auto const& Entry : m_Values) {
    TCCommonPropertyObject const& Object = *Entry.second;
    bool const OfClass = ClassID.IsNull() || Object.get_ID().get_ClassID() == ClassID;
    if (Object.get_Link() == Link && OfClass) {
      Linked.push_back(Object);
    }
  }
  return Linked;
}

TCCommonPropertyObject& TCStoredValues::Insert(TCCommonPropertyObject&& Value) {
  CountChange();
  TCPropertyKey const Key = KeyOf(Value);
  auto const Removed = m_Removed.find(Key);
  if (Removed != m_Removed.end()) {
    TCCommonPropertyObject& Stored = *Removed->second;
    m_Index.Insert(Key, &Stored);
    Stored = std::move(Value);
    static_cast<void>(Removed->second.release());  // m_Values owns it now
    m_Removed.erase(Removed);
    return Stored;
  }
  auto Stored = std::make_unique<TCCommonPropertyObject>(std::move(Value));
  m_Index.Insert(Key, Stored.get());
  return *Stored.release();
}

TCCommonPropertyObject* TCStoredValues::Update(TCPropertyKey const& Key, std::string const& Data) {
  TCCommonPropertyObject* const Stored = Find(Key);
  if (Stored == nullptr) {
    TCCommonPropertyObject Value = EmptyValue(Key);
    Value.SetRealValue(Data);
    return &Insert(std::move(Value));
  }
  if (!Stored->SetRealValue(Data)) {
    return nullptr;
  }
  CountChange();
  return Stored;
}

bool TCStoredValues::Remove(TCPropertyKey const& Key) {
  TCCommonPropertyObject* const Stored = Find(Key);
  if (Stored == nullptr) {
    return false;
  }
  CountChange();
  m_Removed.emplace(Key, nullptr)->second.reset(Stored);
  m_Index.Remove(Key);
  return true;
}

void TCStoredValues::Clear() {
  if (m_Tellings != 0) {
    KeepUntilTold();
    return;
  }
  CountChange();
  for (auto const& Entry : m_Values) {
    delete Entry.second;
  }
  m_Index.Clear();
  m_Removed.clear();
}

// Clear, but for the memory.
void TCStoredValues::KeepUntilTold() {
  m_Cleared.reserve(m_Cleared.size() + m_Values.size() + m_Removed.size());
  CountChange();
  for (auto const& Entry : m_Values) {
    m_Cleared.emplace_back(Entry.second);
  }
  m_Index.Clear();
  for (auto& Entry : m_Removed) {
    m_Cleared.push_back(std::move(Entry.second));
  }
  m_Removed.clear();
}

}  // namespace Property
