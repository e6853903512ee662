// SPDX-License-Identifier: MIT
// Finds words for what keeps changes from being stored.
#include "PropertyServer/TCStoringTrouble.h"

#include <utility>

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"

namespace Property {

void TCStoringTrouble::SetSink(TCSink Sink) {
  m_Sink = std::move(Sink);
}

void TCStoringTrouble::Tell(bool Failing, char const* Reason) {
  LogIfPossible([&] {
    m_Reason = Failing ? Reason : "";
    std::string const Text =
        Failing ? "Changes wait until they can be stored: " + m_Reason : "Changes are stored again";
    if (Failing) {
      SyslogError("%s", Text.c_str());
    } else {
      SyslogWarning("%s", Text.c_str());
    }
    if (m_Sink) {
      m_Sink(Text);
    }
  });
}

}  // namespace Property
