// SPDX-License-Identifier: MIT
// Why a command ends early.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include "PropertyTool/TEExit.h"

namespace Property {

/// Carries the exit code and the text for the user: what is wrong and what to do about it.
class TCToolFailure : public std::runtime_error {
 public:
  TCToolFailure(TEExit Exit, std::string const& Reason)
      : std::runtime_error(Reason), m_Exit(Exit), m_ReasonSize(Reason.size()) {}
  /// With `Advice` that would only be in the way where many such reasons are listed.
  TCToolFailure(TEExit Exit, std::string const& Reason, std::string const& Advice)
      : std::runtime_error(Reason + "; " + Advice), m_Exit(Exit), m_ReasonSize(Reason.size()) {}

  TEExit get_Exit() const { return m_Exit; }
  /// Without the advice.
  std::string get_Reason() const { return std::string(what(), m_ReasonSize); }

 private:
  TEExit m_Exit;
  std::size_t m_ReasonSize;
};

}  // namespace Property
