// SPDX-License-Identifier: MIT
// property explain: why a property has the value that it has.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "PropertyTool/ControlMails.h"
#include "PropertyTool/CurrentValue.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCExplainCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  struct TSFound;

  static void WriteLines(TCToolContext& Context, TSFound const& Found);
  static void WriteJSON(TCToolContext& Context, TSFound const& Found);

  std::string m_Name;
  TSPlaceOptions m_Places;
};

}  // namespace Property
