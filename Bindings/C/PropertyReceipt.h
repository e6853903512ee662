// SPDX-License-Identifier: MIT
// A receipt with what has become known of it.
#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "Bindings/C/property.h"
#include "Platform/Utility/TCMutex.h"
#include "PropertyInterface/TCPropertyReceipt.h"
#include "PropertyInterface/TSPropertyRefusal.h"

/// What is known once is known for good, so that texts of it stay where they are.
struct property_receipt {
  struct TSKnown {
    property_status Status = PROPERTY_OK;
    std::vector<Property::TSPropertyRefusal> Refusals;
    bool Complete = true;
  };

  explicit property_receipt(Property::TCPropertyReceipt const& Of) : Changes(Of) {}

  /// The first that is known stays.
  void Know(TSKnown Result) {
    TCMutexLock const Guard(Lock);
    if (!Known) {
      Known = std::move(Result);
    }
  }
  /// Null when nothing is.
  TSKnown const* get_Known() const {
    TCMutexLock const Guard(Lock);
    return Known ? &*Known : nullptr;
  }

  Property::TCPropertyReceipt const Changes;
  mutable TCMutex Lock;
  std::optional<TSKnown> Known PROPERTY_GUARDED_BY(Lock);
};
