// SPDX-License-Identifier: MIT
// property schema: what the schema libraries hold, and what is wrong with it.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/TCToolCommand.h"
#include "SchemaLibrary/TSSchemaFinding.h"

namespace Property {

class TCSchemaCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  std::vector<TSSchemaFinding> Compare() const;
  TEExit Check(TCToolContext& Context) const;
  TEExit Export(TCToolContext& Context) const;

  static TEExit Orphans(TCToolContext& Context);

  CLI::App* m_Check = nullptr;
  CLI::App* m_Orphans = nullptr;
  std::string m_Earlier;
  bool m_Table = false;
};

}  // namespace Property
