// SPDX-License-Identifier: MIT
// Why the property server gives no answer.
#pragma once

#include <stdexcept>
#include <string>

namespace Property {

enum class TEServerFailure {
  eNoServer,  ///< it is not there
  eRefused,
  eTimeOut,  ///< it is there, and has not answered in time
};

/// Carries the kind of the failure and the text for the user.
class TCServerFailure : public std::runtime_error {
 public:
  TCServerFailure(TEServerFailure Kind, std::string const& Reason)
      : std::runtime_error(Reason), m_Kind(Kind) {}

  TEServerFailure get_Kind() const { return m_Kind; }

 private:
  TEServerFailure m_Kind;
};

}  // namespace Property
