// SPDX-License-Identifier: MIT
// Changes of every kind to a database, always the same ones.
#pragma once

#include <string>

#include "PropertyServer/TCPropertyDatabase.h"

namespace Workload {

/// Begins transaction number `Turn` of the workload and makes its changes, short of committing.
/// One changes a few values or many, appends to the history and trims it, remembers senders and
/// forgets others.
void Fill(Property::TCPropertyDatabase::TCTransaction& Transaction, int Turn);

/// Everything that a database holds, as text.
std::string Dump(Property::TCPropertyDatabase const& Database);

}  // namespace Workload
