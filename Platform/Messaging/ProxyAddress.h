// SPDX-License-Identifier: MIT
// Where a process looks for its router.
#pragma once

#include <string>

/// The address in the environment, or the usual one. Throws TCException when no router can ever be
/// reached there: no Unix socket's address, or a path that no socket can have.
std::string ProxyAddress();
