// SPDX-License-Identifier: MIT
// property history: who has changed what, and when.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/TCNaming.h"
#include "PropertyTool/TCToolCommand.h"
#include "ServerClient/History.h"

namespace Property {

class TCHistoryCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  void Narrow(TCToolContext& Context, TCControlRecord& Record) const;
  static std::string TextOf(TCToolContext& Context, TSHistoryEntry const& Entry,
                            std::optional<std::string> const& Data);
  static void WriteJSON(TCToolContext& Context, std::vector<TSHistoryEntry> const& Entries);

  std::string m_Name;
  TSPlaceOptions m_Places;
  std::string m_Writer;
  std::string m_Since;
  std::string m_Transaction;
  unsigned m_Limit = 100;
};

}  // namespace Property
