// SPDX-License-Identifier: MIT
// Grants each user some lines about refused changes.
#include "PropertyServer/TCRefusalLog.h"

#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCLogBudget.h"

namespace Property {

void TCRefusalLog::Write(TSNorvMailSender const& Sender, std::string const& Reason) {
  LogIfPossible([&] {
    auto const User = m_Users.Find(Sender.User, 0);  // nothing is charged here, so no time counts
    LogWithin(User->m_LogBudget, [&](char const* Note) {
      SyslogWarning("Change of %s (process %d, user %u) refused: %s%s", Sender.ProcessName.c_str(),
                    static_cast<int>(Sender.Process), Sender.User, Reason.c_str(), Note);
    });
  });
}

}  // namespace Property
