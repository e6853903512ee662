// SPDX-License-Identifier: MIT
// Finds words for failures.
#include "Platform/Utility/FailureText.h"

#include <cstdlib>
#include <exception>
#include <system_error>

namespace FailureText {

std::string OfCaught() {
  try {
    throw;
  } catch (std::exception const& Failure) {
    return Failure.what();
  } catch (...) {
    return "an exception of an unknown type";
  }
}

std::string OfError(int Error) {
  return std::generic_category().message(std::abs(Error));
}

}  // namespace FailureText
