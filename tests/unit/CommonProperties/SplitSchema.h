// SPDX-License-Identifier: MIT
// A schema whose nodes stand in one file and what is declared about them in another.
#pragma once

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyContainer.h"
#include "CommonProperties/TCPropertyDBLookup.h"
#include "CommonProperties/TCPropertyDependency.h"
#include "CommonProperties/TCPropertyGroup.h"
#include "CommonProperties/TCPropertyID.h"

// SplitSchemaNodes.cpp
extern Property::TCPropertyContainer SplitDevice;
extern Property::TCPropertyGroup SplitGroup;
extern Property::TCPropertyID SplitMode;   // a string field until it has choices
extern Property::TCPropertyID SplitCount;  // an integer field with the default 5
extern Property::TCPropertyID SplitName;   // a string field
extern Property::TCPropertyDBLookup SplitLookup;

// SplitSchemaUses.cpp
extern Property::TCPropertyGroup SplitLateGroup;  // under the container of the other file
extern Property::TCPropertyChoice SplitOff;
extern Property::TCPropertyChoice SplitOn;  // the default
extern Property::TCPropertyChoice SplitOfLookup;
extern Property::TCPropertyDependency SplitDependency;
