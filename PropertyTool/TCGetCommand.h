// SPDX-License-Identifier: MIT
// property get: the values of named properties.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/TCNaming.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCGetCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  struct TSFound;

  TSFound Find(TCToolContext& Context, std::string const& Name) const;
  void Write(TCToolContext& Context, std::vector<TSFound> const& All) const;
  std::string TextOf(TCToolContext& Context, TSFound const& Found) const;

  std::vector<std::string> m_Names;
  TSPlaceOptions m_Places;
  bool m_Stored = false;
};

}  // namespace Property
