// SPDX-License-Identifier: MIT
// Why a command ends early.
#pragma once

#include <stdexcept>
#include <string>

#include "PropertyTool/TEExit.h"

namespace Property {

/// Carries the exit code and the text for the user: what is wrong and what to do about it.
class TCToolFailure : public std::runtime_error {
 public:
  TCToolFailure(TEExit Exit, std::string const& Text) : std::runtime_error(Text), m_Exit(Exit) {}

  TEExit get_Exit() const { return m_Exit; }

 private:
  TEExit m_Exit;
};

}  // namespace Property
