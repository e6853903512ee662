// SPDX-License-Identifier: MIT
// property wait: until properties have the values that are waited for.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/Assignments.h"
#include "PropertyTool/TCFollowedValues.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCWaitCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  static bool IsMet(TSWanted const& Wanted, TCFollowedValues::TCValues const& Values);
  std::string Unmet(TCToolContext& Context) const;

  std::vector<std::string> m_Words;
  TSPlaceOptions m_Places;
  std::string m_Timeout;
  std::vector<TSWanted> m_Wanted;
  std::vector<TSWanted const*> m_Unmet;  // the connection's thread fills it until that is closed
};

}  // namespace Property
