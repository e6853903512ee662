// SPDX-License-Identifier: MIT
// property list: all properties with their values.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "PropertyTool/CurrentValue.h"
#include "PropertyTool/TCToolCommand.h"

namespace Property {

class TCListCommand : public TCToolCommand {
 public:
  CLI::App& Declare(CLI::App& Tool) override;
  TEExit Run(TCToolContext& Context) override;

 private:
  struct TSRow;
  using TCStored = std::map<TSPropertyPlace, std::string>;

  bool IsWantedPath(std::string const& Path) const;
  bool IsWantedDevice(std::string const& MAC) const;
  TCStored AskForStored(TCToolContext& Context) const;
  std::vector<TSRow> Collect(TCToolContext& Context) const;
  void CollectField(TCToolContext& Context, TCPropertyID const& Field, TCStored& Stored,
                    std::vector<TSRow>& Rows) const;
  static std::string TextOf(TCToolContext& Context, TSRow const& Row);
  static std::string Assigned(TCToolContext& Context, TSRow const& Row);
  static void WriteJSON(TCToolContext& Context, std::vector<TSRow> const& Rows);
  static void WritePlain(TCToolContext& Context, std::vector<TSRow> const& Rows);
  static void WriteTable(TCToolContext& Context, std::vector<TSRow> const& Rows);
  static void WriteTree(TCToolContext& Context, std::vector<TSRow> const& Rows);

  std::vector<std::string> m_Filters;
  std::string m_MAC;
  bool m_All = false;
  bool m_Set = false;
  bool m_Table = false;
};

}  // namespace Property
