// SPDX-License-Identifier: MIT
// Whether a user interface shows a property, and why not.
#pragma once

#include <string>

#include "CommonProperties/TCPropertyID.h"

namespace Property {

enum class TEVisibility { eShown, eAdvanced, eHidden };

/// Of a field and of what it lies in.
TEVisibility VisibilityOf(TCPropertyID const& Field);
char const* NameOf(TEVisibility Visibility);
/// Why it is hidden: the field itself or the name of what it lies in; empty when it is not.
std::string ReasonOfHiding(TCPropertyID const& Field);

}  // namespace Property
