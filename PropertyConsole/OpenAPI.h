// SPDX-License-Identifier: MIT
// The description of the interface, for programs.
#pragma once

namespace Property {

/// PropertyConsole/openapi.json.
extern char const kOpenAPI[];

}  // namespace Property
