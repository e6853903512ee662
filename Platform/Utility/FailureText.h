// SPDX-License-Identifier: MIT
// Failures as texts for the log.
#pragma once

#include <string>

namespace FailureText {

/// Of the exception being handled.
std::string OfCaught();

/// Of errno, or of a negative one; thread-safe.
std::string OfError(int Error);

}  // namespace FailureText
