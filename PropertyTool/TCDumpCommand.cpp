// SPDX-License-Identifier: MIT
// Writes one entry a line while it reads them.
#include "PropertyTool/TCDumpCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "PropertyTool/TCProgress.h"
#include "PropertyTool/TCToolContext.h"
#include "ServerClient/ServerValues.h"

namespace Property {

CLI::App& TCDumpCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("dump", "Print all stored values as JSON");
  Command->add_option("--mac", m_MAC, "Device: own, none, all or an address")
      ->check(CheckDevice)
      ->capture_default_str()
      ->type_name("DEVICE");
  Command->footer(
      "Secrets are named without their texts unless --show-secrets is given.\n\n"
      "Examples:\n"
      "  property dump >backup.json\n"
      "  property dump --mac own --show-secrets | gzip >device.json.gz");
  return *Command;
}

TEExit TCDumpCommand::Run(TCToolContext& Context) {
  TCOutput& Output = Context.get_Output();
  TCProgress Progress(stderr, Output.get_Form() == TEForm::ePeople && !Output.IsTerminal(),
                      "values", 0);
  bool IsFirst = true;
  Context.get_Schema().IsThere();
  Context.get_Secrets().IsSecret(0);
  Output.Raw("{\"format\":\"property-dump\",\"version\":1,\"values\":[");
  AskForAll(Context.get_Server(), [&](TSValueRecord const& Record) {
    if (!Record.Data || (m_MAC != "all" && Record.Place.MAC != TCNaming::DeviceOf(m_MAC))) {
      return;
    }
    auto Object = Context.get_Naming().JSONOf(Record.Place);
    if (Context.get_Secrets().IsSecret(Record.Place.Number)) {
      Object["secret"] = true;
    } else {
      SetText(Object, "value", *Record.Data);
    }
    Output.Raw(IsFirst ? "\n" : ",\n");
    Output.JSONText(Object);
    IsFirst = false;
    Progress.Advance();
  });
  Output.Raw("\n]}\n");
  return TEExit::eDone;
}

}  // namespace Property
