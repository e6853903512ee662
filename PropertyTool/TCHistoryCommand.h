// SPDX-License-Identifier: MIT
// property history: who has changed what, and when.
#pragma once

#include <string>
#include <vector>

#include "PropertyTool/ControlMails.h"
#include "PropertyTool/TCNaming.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCHistoryCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  struct TSEntry;

  void Narrow(TCToolContext& Context, TCControlRecord& Record) const;
  std::vector<TSEntry> Collect(TCToolContext& Context) const;
  static std::string TextOf(TCToolContext& Context, TSEntry const& Entry,
                            std::optional<std::string> const& Data);
  static void WriteJSON(TCToolContext& Context, std::vector<TSEntry> const& Entries);

  std::string m_Name;
  TSPlaceOptions m_Places;
  std::string m_Writer;
  std::string m_Since;
  std::string m_Transaction;
  unsigned m_Limit = 100;
};

}  // namespace Property
