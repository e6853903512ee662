// SPDX-License-Identifier: MIT
// Prints the mails about properties and their changes, for who looks for a fault.
#pragma once

#include "Platform/Messaging/TCNorvService.h"
#include "PropertyServer/TCServerConfiguration.h"

namespace Property {

/// Prints mails to the standard output, a line each, without the texts of secret properties, when
/// that is wanted. Used by one thread at a time.
class TCMailTrace {
 public:
  explicit TCMailTrace(bool Wanted) : m_Wanted(Wanted) {}

  /// `Direction` says what has become of the mail, which came from or goes to `Peer`.
  void Print(char const* Direction, TSNorvMailSender const& Peer, TSNorvMailContent const& Content,
             TCServerConfiguration const& Configuration) const {
    if (m_Wanted) {
      PrintLine(Direction, Peer, Content, Configuration);
    }
  }

 private:
  static void PrintLine(char const* Direction, TSNorvMailSender const& Peer,
                        TSNorvMailContent const& Content,
                        TCServerConfiguration const& Configuration);

  bool const m_Wanted;
};

}  // namespace Property
