// SPDX-License-Identifier: MIT
// Runs an action that must throw and hands the exception over, so that its texts can be compared.
#pragma once

#include <gtest/gtest.h>

#include "Platform/Utility/TCException.h"

/// What `Action` throws. Fails the test, and returns an empty exception, when it throws nothing.
template <class TAction>
TCException CaughtException(TAction&& Action) {
  try {
    Action();
  } catch (TCException const& Exception) {
    return Exception;
  }
  ADD_FAILURE() << "nothing was thrown";
  return TCException("", 0);
}
