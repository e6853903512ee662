// SPDX-License-Identifier: MIT
// Fills the benchmarks' store.
#include "benchmarks/BenchmarkStore.h"

#include <algorithm>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/TCMACAddress.h"
#include "benchmarks/support/Measurement.h"

namespace Benchmark {

namespace {

constexpr int kFields = 10000;

// `Count` values: those of the fields without a record first, then those of record 1, and so on.
std::vector<TSTarget> Targets(std::vector<Property::TCPropertyID*> const& Fields, int Count) {
  std::vector<TSTarget> Result;
  int const FieldCount = static_cast<int>(Fields.size());
  for (int const Index : ShuffledIndices(Count)) {
    int const Record = Index / FieldCount;
    Accessories::TCRecordID Link;
    if (Record > 0) {
      Link = Record;
    }
    Result.push_back({Fields[static_cast<std::size_t>(Index % FieldCount)], Link});
  }
  return Result;
}

std::vector<TSTarget> Tenth(std::vector<Property::TCPropertyID*> const& Fields, int Count) {
  return Targets(Fields, std::min(std::max(1, Count / 10), static_cast<int>(Fields.size())));
}

void SetAll(std::vector<TSTarget> const& Values) {
  for (TSTarget const& Value : Values) {
    SetProperty(*Value.m_ID, Value.m_ID->get_Number(), Value.m_Link);
  }
}

}  // namespace

std::list<Property::TCCommonPropertyObject> TCLocalStore::DoLoadPropertyList(
    Property::TCPropertyID const& ID) {
  std::list<Property::TCCommonPropertyObject> Result;
  TCCriticalSectionLock const Lock(m_CSection);
  Property::TCPropertyKey const First(ID, Accessories::TCRecordID(), TCMACAddress());
  for (auto Entry = m_Properties.lower_bound(First);
       Entry != m_Properties.end() && &Entry->first.get_ID() == &ID; ++Entry) {
    Result.push_back(*Entry->second);
  }
  return Result;
}

void TCLocalStore::CommitTransaction(Property::TCPropertyTransaction* Transaction) {
  {
    TCCriticalSectionLock const Lock(m_CSection);
    TCPropertyCollection::CommitTransaction(Transaction);
    for (auto const& [Key, Change] : Transaction->get_Changes()) {
      m_Properties.at(Key)->SetRealValue(Change->GetRealValue());
    }
  }
  for (auto const& [Key, Change] : Transaction->get_Changes()) {
    Notify(Property::eNotifyChanged, *Change);
  }
}

TCFilledStore& TCFilledStore::WithValues(int Count) {
  static TCFilledStore Store;
  if (Store.m_Count != Count) {
    Store.Fill(Count);
  }
  return Store;
}

TCFilledStore::TCFilledStore()
    : m_Schema((TCMACAddress::SetOwn(TCMACAddress(kOwnMAC)), MakeSchema(kFields))),
      m_Store(*new TCLocalStore) {}

void TCFilledStore::Fill(int Count) {
  m_Store.Clear();
  m_Count = Count;
  int const Fields = std::min(Count, kFields);
  m_Integers = Targets({m_Schema.m_Integers.begin(), m_Schema.m_Integers.begin() + Fields}, Count);
  m_Texts = Tenth(m_Schema.m_Texts, Count);
  m_Booleans = Tenth(m_Schema.m_Booleans, Count);
  m_Choices = Tenth(m_Schema.m_Choices, Count);
  m_Validated = Tenth(m_Schema.m_Validated, Count);
  m_SystemWide = Tenth(m_Schema.m_SystemWide, Count);
  for (auto const* Values : {&m_Integers, &m_Texts, &m_Booleans, &m_Validated, &m_SystemWide}) {
    SetAll(*Values);
  }
  for (TSTarget const& Value : m_Choices) {
    SetPropertyChoiceID(*Value.m_ID, Value.m_ID->GetDefaultChoice(false)->get_Number());
  }
}

}  // namespace Benchmark
