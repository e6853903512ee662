// SPDX-License-Identifier: MIT
// Processes with a store, and notifiers that report.
#include "benchmarks/process/Clients.h"

#include <unistd.h>

#include <utility>

#include "CommonProperties/TCPropertyCollection.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"

namespace Benchmark {

TSSchema const& Connect(int Size) {
  auto const& Schema = MakeSchema(Size);
  Property::TCPropertyCollectionDriver::Create(false);
  return Schema;
}

void WaitUntilDurable() {
  Property::TCPropertyCollectionDriver::get_Instance()->WaitForAcknowledgements();
}

Property::TCPropertyID const& StampField(TSSchema const& Schema, int Number) {
  return *Schema.m_Texts[static_cast<std::size_t>(Number % kStampFields)];
}

TCChangeNotifier::TCChangeNotifier(TChanged Changed) : m_Changed(std::move(Changed)) {
  Enable();
}

TCChangeNotifier::~TCChangeNotifier() {
  Property::TCPropertyCollection::DelNotifier(this);
}

bool TCChangeNotifier::OnPropQueued() {
  TCCriticalSectionLock const Lock(m_Lock);
  m_Changed(m_Queue.back().first);
  m_Queue.clear();
  return true;
}

void WaitForEnd() {
  while (true) {
    pause();
  }
}

void WatchStamps(int Size, TCWatcher::TSeen const& Seen) {
  Connect(Size);
  TCChangeNotifier const Notifier([&](Property::TCCommonPropertyObject const& Value) {
    Seen(std::stoll(Value.get_AsString()));
  });
  Seen(0);
  WaitForEnd();
}

}  // namespace Benchmark
