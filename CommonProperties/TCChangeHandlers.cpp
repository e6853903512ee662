// SPDX-License-Identifier: MIT
// Finds who is told of a change.
#include "CommonProperties/TCChangeHandlers.h"

#include "CommonProperties/KeyOf.h"
#include "CommonProperties/TCPropertyID.h"

namespace Property {

namespace {

template <class TKey>
void EraseFrom(std::multimap<TKey, TCChangeHandlers::TCHandler>& Handlers, TKey const& Key,
               TSChangeHandler const& Handler) noexcept {
  auto const [First, End] = Handlers.equal_range(Key);
  for (auto Entry = First; Entry != End; ++Entry) {
    if (Entry->second.get() == &Handler) {
      Handlers.erase(Entry);
      return;
    }
  }
}

template <class TKey>
void Append(std::multimap<TKey, TCChangeHandlers::TCHandler> const& Handlers, TKey const& Key,
            std::vector<TCChangeHandlers::TCHandler>& To) {
  auto const [First, End] = Handlers.equal_range(Key);
  for (auto Entry = First; Entry != End; ++Entry) {
    To.push_back(Entry->second);
  }
}

}  // namespace

void TCChangeHandlers::Add(TCHandler const& Handler) {
  if (Handler->Value) {
    m_OfValues.emplace(*Handler->Value, Handler);
  } else if (Handler->Property) {
    m_OfProperties.emplace(*Handler->Property, Handler);
  } else {
    m_OfAll.push_back(Handler);
  }
}

void TCChangeHandlers::Remove(TSChangeHandler const& Handler) noexcept {
  if (Handler.Value) {
    EraseFrom(m_OfValues, *Handler.Value, Handler);
  } else if (Handler.Property) {
    EraseFrom(m_OfProperties, *Handler.Property, Handler);
  } else {
    m_OfAll.remove_if([&Handler](TCHandler const& Entry) { return Entry.get() == &Handler; });
  }
}

bool TCChangeHandlers::AreThereAny(TCCommonPropertyObject const& Value) const {
  return !m_OfAll.empty() || m_OfProperties.count(Value.get_ID().get_Number()) != 0 ||
         m_OfValues.count(KeyOf(Value)) != 0;
}

std::vector<TCChangeHandlers::TCHandler> TCChangeHandlers::Find(
    TCCommonPropertyObject const& Value) const {
  std::vector<TCHandler> Handlers;
  Append(m_OfValues, KeyOf(Value), Handlers);
  Append(m_OfProperties, Value.get_ID().get_Number(), Handlers);
  Handlers.insert(Handlers.end(), m_OfAll.begin(), m_OfAll.end());
  return Handlers;
}

void TCChangeHandlers::Deactivate() noexcept {
  for (auto const& [Key, Handler] : m_OfValues) {
    Handler->Active = false;
  }
  for (auto const& [Number, Handler] : m_OfProperties) {
    Handler->Active = false;
  }
  for (TCHandler const& Handler : m_OfAll) {
    Handler->Active = false;
  }
}

}  // namespace Property
