// SPDX-License-Identifier: MIT
// property watch: changes as they happen.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "PropertyTool/TCFollowedValues.h"
#include "PropertyTool/TCNaming.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCWatchCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  void Choose(TCToolContext& Context);
  bool IsWanted(TSPropertyPlace const& Place) const;
  void Tell(TCToolContext& Context, TSValueChange const& Change) const;
  void TellEvent(TCToolContext& Context, char const* Event, char const* Text) const;
  std::string TextOf(TCToolContext& Context, TSPropertyPlace const& Place,
                     std::optional<std::string> const& Data) const;

  std::vector<std::string> m_Names;
  TSPlaceOptions m_Places;
  bool m_Initial = false;
  unsigned m_Count = 0;
  std::string m_Timeout;
  std::vector<TSTarget> m_Targets;
};

}  // namespace Property
