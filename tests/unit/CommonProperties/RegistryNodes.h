// SPDX-License-Identifier: MIT
// Nodes for the tests of the registry, in which they stay.
#pragma once

#include <functional>
#include <utility>

#include "CommonProperties/TCBasicPropertyID.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyInitOverride.h"
#include "Platform/Utility/TCNullTypes.h"

inline Accessories::TCNullTypes<int> const kNoNumber;

/// An override that calls a function.
class TCallingOverride : public Property::TCPropertyInitOverride {
 public:
  TCallingOverride(Property::TCBasicPropertyID* Node, std::function<void()> OnInitialize)
      : TCPropertyInitOverride(Node), m_OnInitialize(std::move(OnInitialize)) {}

  void DoInitialize() override { m_OnInitialize(); }

 private:
  std::function<void()> m_OnInitialize;
};

inline Property::TCBasicPropertyID& NewNode(
    int Number, Property::TEPropertyType Type,
    Accessories::TCNullTypes<int> const& Parent = kNoNumber) {
  return *new Property::TCBasicPropertyID("Node", Number, Type, "", Parent);
}

inline Property::TCPropertyID& NewField(int Number,
                                        Accessories::TCNullTypes<int> const& Parent = kNoNumber) {
  return *new Property::TCPropertyID("Field", Number, "", Parent, 0x10);
}

inline int OrderOf(Property::TCBasicPropertyID const& Node) {
  return Node.GetOrder();
}
