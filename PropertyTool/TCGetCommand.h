// SPDX-License-Identifier: MIT
// property get: the values of named properties.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/FoundValues.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCGetCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  void Write(TCToolContext& Context, std::vector<TSFoundValue> const& All) const;
  std::string TextOf(TSFoundValue const& Found) const;

  std::vector<std::string> m_Names;
  TSPlaceOptions m_Places;
  bool m_Stored = false;
};

}  // namespace Property
