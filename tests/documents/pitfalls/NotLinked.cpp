// SPDX-License-Identifier: MIT
// A schema that names a node of a file that is not linked with it.
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyLink.h"

extern Property::TCPropertyContainer Elsewhere;
Property::TCPropertyID Level("Level", 4001, "A level", Elsewhere.get_Number(), 0x10);
