// SPDX-License-Identifier: MIT
// Changes of every kind to a database, always the same ones.
#pragma once

#include <string>

#include "PropertyServer/TCPropertyDatabase.h"

namespace Workload {

/// Begins transaction number `Turn` of the workload and makes its changes, short of committing.
/// One changes a few values or many, removes some, keeps one secret, appends to the history and
/// trims it to what has values that are not moved, or stores without it; remembers
/// senders and what became of their mails, forgets others, and leaves changes pending or settles
/// them.
void Fill(Property::TCPropertyDatabase::TCTransaction& Transaction, int Turn);

/// Few enough bytes that values are moved to their places again and again, after the history has
/// forgotten them and before.
constexpr Property::TSUnmovedLimits kUnmoved{5000, 15000};

/// Everything that a database holds, as text.
std::string Dump(Property::TCPropertyDatabase const& Database);

}  // namespace Workload
