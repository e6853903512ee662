// SPDX-License-Identifier: MIT
// The property protocol's names and numbers, for all that speak it. See docs/protocol.md.
#pragma once

#include "Platform/Messaging/TCNorvMessage.h"

/// The numbers are on the wire: each keeps its meaning for ever.
namespace Property::PropertyProtocol {

/// The mailbox of whoever stores the properties.
constexpr char kMailbox[] = "@mailrouter.property";

/// The mail class; its records are TCNorvPropertyObject's.
constexpr char kClassName[] = "property";
constexpr int kClassVersion = 2;

/// A mail's signal: whoever reads it looks at both numbers.
struct TSSignal {
  TENorvSignalType Type;
  int Name;
};

constexpr TSSignal kRequestAll{eNorvRequest, 1};
constexpr TSSignal kRequestOne{eNorvRequest, 2};
constexpr TSSignal kChange{eNorvChange, 3};          // to the mailbox
constexpr TSSignal kAllValues{eNorvChange, 1};       // answers kRequestAll
constexpr TSSignal kOneValue{eNorvEvent, 2};         // answers kRequestOne
constexpr TSSignal kPublishedChange{eNorvEvent, 1};  // to every process that may read it

// Whose values a request for all is for.
constexpr int kActionOwn = 0;  // the asking device's and those of no device
constexpr int kActionAll = 1;

}  // namespace Property::PropertyProtocol
