// SPDX-License-Identifier: MIT
// Sets, loads and deletions: what is compared, stored or left to a transaction, and then told.
#include "CommonProperties/Store/TCPropertyWriter.h"

#include <utility>

#include "CommonProperties/TCBasicPropertyID.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/TextConversions.h"

namespace Property {

namespace {

// Once a store exists the schema is complete, and its mark is only read from then on.
void CompleteSchema() {
  if (!TCBasicPropertyID::m_Initialized) {
    TCBasicPropertyID::Initialize();
  }
}

}  // namespace

TCCommonPropertyObject const& TCPropertyWriter::Set(TCPropertyKey const& Key,
                                                    std::string const& Data,
                                                    TCCriticalSectionLock& Lock) {
  CompleteSchema();
  TCCommonPropertyObject* Stored = m_Values.Find(Key);
  if (Stored != nullptr && *Stored == Data) {
    return *Stored;
  }
  if (TCPropertyTransaction* Transaction = m_Process.m_Transactions.Find()) {
    return *Transaction->Changed(Key, Data);
  }
  if (Stored != nullptr) {
    Stored->set_Data(Data);
  } else {
    TCCommonPropertyObject Value = EmptyValue(Key);
    Value.set_Data(Data);
    Stored = &m_Values.Insert(std::move(Value));
  }
  m_Teller.HandOverAndTell(*Stored, Lock);
  return *Stored;
}

TCCommonPropertyObject const& TCPropertyWriter::Set(TCPropertyID const& ID,
                                                    Accessories::TCRecordID const& Link,
                                                    TCPropertyChoiceID const& Choice,
                                                    std::string const& MAC,
                                                    TCCriticalSectionLock& Lock) {
  CompleteSchema();
  std::string const Number = ToString(Choice.get_AsInteger());
  TCPropertyKey const Key(ID, Link, m_Process.m_Device.MACFor(ID, MAC));
  TCCommonPropertyObject* Stored = m_Values.Find(Key);
  TCPropertyTransaction* const Transaction = m_Process.m_Transactions.Find();
  if (Stored == nullptr && Transaction == nullptr) {
    // A choice never makes a value for another device than the current one.
    TCPropertyKey const Current(ID, Link, m_Process.m_Device.MACFor(ID));
    Stored = m_Values.Find(Current);
    if (Stored == nullptr) {
      Stored = &m_Values.Insert(EmptyValue(Current));
    }
  }
  if (Stored != nullptr && Stored->GetRealValue() == Number) {
    return *Stored;
  }
  if (Transaction != nullptr) {
    return *Transaction->Changed(Key, Number);
  }
  Stored->SetRealValue(Number);
  m_Teller.HandOverAndTell(*Stored, Lock);
  return *Stored;
}

TCCommonPropertyObject* TCPropertyWriter::Load(TCPropertyKey const& Key, std::string const& Data,
                                               TCCriticalSectionLock& Lock) {
  TCCommonPropertyObject* Stored = m_Values.Find(Key);
  bool Changed = false;
  if (Stored != nullptr) {
    Changed = Stored->SetRealValue(Data);
  } else {
    std::string const Text = Data;  // Data may be the text of the removed value that Insert reuses
    Stored = &m_Values.Insert(EmptyValue(Key));
    Stored->SetRealValue(Text);
    Changed = true;
  }
  if (Changed) {
    m_Teller.HandOverAndTell(*Stored, Lock);
  }
  return Stored;
}

void TCPropertyWriter::Delete(TCPropertyKey const& Key) {
  TCCommonPropertyObject const* const Stored = m_Values.Find(Key);
  if (Stored == nullptr) {
    return;
  }
  TCChangeTeller::TCDeletion const Deletion(m_Teller, Key);
  m_Teller.TellDeletion(*Stored);
  // A hook may have removed the value itself, or set it and told of that.
  if (m_Values.Remove(Key) && Deletion.IsOvertaken()) {
    m_Teller.TellRemoved(Key);
  }
}

}  // namespace Property
