// SPDX-License-Identifier: MIT
// Where a router listens and proxies look for it, when nothing else is said.
#pragma once

/// The environment variable that names another address.
constexpr char kRouterAddressVariable[] = "MAILROUTER_ADDRESS";
constexpr char kDefaultRouterAddress[] = "unix:path=/run/mailrouter/socket";
