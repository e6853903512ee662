// SPDX-License-Identifier: MIT
// What the server knows of schema libraries.
#pragma once

#include <vector>

#include "SchemaLibrary/TSSchemaLibrary.h"
#include "ServerClient/TCServerConnection.h"

namespace Property {

/// The libraries that the server has found, so that none has to be tried again here. Nothing where
/// no server is there or it does not tell: then they are tried.
std::vector<TSSchemaLibrary> AskForVerdicts(TCServerConnection& Server);

}  // namespace Property
