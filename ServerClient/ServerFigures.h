// SPDX-License-Identifier: MIT
// The figures of the running server.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ServerClient/TCServerConnection.h"

namespace Property {

/// Names and values, in the server's order.
using TCServerFigures = std::vector<std::pair<std::string, std::string>>;

TCServerFigures AskForFigures(TCServerConnection& Server);

}  // namespace Property
