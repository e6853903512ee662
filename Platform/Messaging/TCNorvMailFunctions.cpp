// SPDX-License-Identifier: MIT
// Anchors the dispatch base in this library.
#include "Platform/Messaging/TCNorvMailFunctions.h"

TCNorvBasicMailFunctions::~TCNorvBasicMailFunctions() = default;
