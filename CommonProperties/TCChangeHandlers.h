// SPDX-License-Identifier: MIT
// The functions that a program has subscribed to changes, found by the value that has changed.
#pragma once

#include <atomic>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "CommonProperties/TCCommonPropertyObject.h"
#include "CommonProperties/TCPropertyEvents.h"
#include "CommonProperties/TCPropertyKey.h"

namespace Property {

/// A function and what it is told of: one value, else one property, else everything.
struct TSChangeHandler {
  explicit TSChangeHandler(TCPropertyEvents::THandler Call) : Function(std::move(Call)) {}
  TSChangeHandler(TCPropertyEvents::THandler Call, int OfProperty)
      : Function(std::move(Call)), Property(OfProperty) {}
  TSChangeHandler(TCPropertyEvents::THandler Call, TCPropertyKey const& OfValue)
      : Function(std::move(Call)), Value(OfValue) {}

  TCPropertyEvents::THandler const Function;
  std::optional<TCPropertyKey> const Value;
  std::optional<int> const Property;
  std::atomic<bool> Active{true};  // read and written without a lock
};

/// Shares the handlers with their subscriptions. Not synchronised.
class TCChangeHandlers {
 public:
  using TCHandler = std::shared_ptr<TSChangeHandler>;

  void Add(TCHandler const& Handler);
  /// Does nothing for one that is not here. The caller keeps a reference: nothing is destroyed.
  void Remove(TSChangeHandler const& Handler) noexcept;

  bool AreThereAny(TCCommonPropertyObject const& Value) const;
  /// Those of the value, of its property and of everything, each in the order of Add.
  std::vector<TCHandler> Find(TCCommonPropertyObject const& Value) const;

  /// No handler here is called any more.
  void Deactivate() noexcept;

 private:
  std::multimap<TCPropertyKey, TCHandler> m_OfValues;
  std::multimap<int, TCHandler> m_OfProperties;
  std::list<TCHandler> m_OfAll;
};

}  // namespace Property
