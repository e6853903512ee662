// SPDX-License-Identifier: MIT
// property load: the values of a dump, all or none.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/Changes.h"
#include "PropertyTool/TCToolCommand.h"
#include "PropertyTool/ValueDifferences.h"

namespace Property {

class TCLoadCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  std::vector<TSValueDifference> Plan(TCToolContext& Context) const;
  void Report(TCToolContext& Context, std::vector<TSValueDifference> const& Differences,
              std::string const& Transaction) const;

  std::string m_File;
  TSChangeOptions m_Change;
  bool m_DryRun = false;
  bool m_Replace = false;
};

}  // namespace Property
