// SPDX-License-Identifier: MIT
// Checks and exports the loaded schema, and lists what the server's has no field for.
#include "PropertyTool/TCSchemaCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

#include "Platform/Utility/TCException.h"
#include "PropertyTool/ControlMails.h"
#include "PropertyTool/InputFiles.h"
#include "PropertyTool/Orphans.h"
#include "PropertyTool/TCTextTable.h"
#include "PropertyTool/TCToolContext.h"
#include "PropertyTool/TCToolFailure.h"
#include "SchemaLibrary/SchemaCheck.h"
#include "SchemaLibrary/SchemaComparison.h"
#include "SchemaLibrary/SchemaExport.h"

namespace Property {
namespace {

constexpr std::size_t kLargestExport = std::size_t{256} << 20;

}  // namespace

CLI::App& TCSchemaCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand(
      "schema", "Check and export schema libraries, list what they no longer know");
  Command->require_subcommand(1);
  m_Check = Command->add_subcommand("check", "Find mistakes that initialisation lets pass");
  m_Check
      ->add_option("--against", m_Earlier, "An earlier export, whose numbers have to mean the same")
      ->type_name("FILE");
  m_Check->footer(
      "Exit code 1: something was found, or a library cannot be used.\n\n"
      "Examples:\n"
      "  property schema check --schema build/device.so\n"
      "  property schema check --against released.json");
  CLI::App* const Export =
      Command->add_subcommand("export", "Print the schema as a JSON Schema or a table");
  Export->add_flag("--table", m_Table, "A table for people");
  Export->footer(
      "Examples:\n"
      "  property schema export >released.json\n"
      "  property schema export --table");
  m_Orphans = Command->add_subcommand(
      "orphans", "List stored values that the server's schema no longer knows");
  m_Orphans->footer(
      "The server keeps them aside: no process is told of them, and they are back when a schema\n"
      "knows them again. Only for who may administer the server.\n\n"
      "Examples:\n"
      "  property schema orphans\n"
      "  property schema orphans --json");
  return *Command;
}

std::vector<TSSchemaFinding> TCSchemaCommand::Compare() const {
  std::string const Text = ReadInputFile(m_Earlier, kLargestExport);
  try {
    return CompareSchema(Text);
  } catch (TCException const& Failure) {
    throw TCToolFailure(TEExit::eRefused, m_Earlier + ": " + Failure.get_Message(),
                        "property schema export writes one");
  }
}

TEExit TCSchemaCommand::Check(TCToolContext& Context) const {
  std::vector<TSSchemaFinding> Findings = CheckSchema();
  if (!m_Earlier.empty()) {
    std::vector<TSSchemaFinding> const Changes = Compare();
    Findings.insert(Findings.end(), Changes.begin(), Changes.end());
  }
  TCOutput& Output = Context.get_Output();
  nlohmann::ordered_json Array = nlohmann::ordered_json::array();
  TCTextTable Table({"NUMBER", "NODE", "FINDING"});
  for (TSSchemaFinding const& Finding : Findings) {
    nlohmann::ordered_json Object = {{"number", Finding.Number}};
    SetText(Object, "path", Finding.Path);
    SetText(Object, "finding", Finding.Text);
    Array.push_back(std::move(Object));
    std::vector<std::string> const Row = {std::to_string(Finding.Number), Finding.Path,
                                          Finding.Text};
    Output.get_Form() == TEForm::ePlain ? Output.Plain(Row) : Table.Add(Row);
  }
  if (Output.get_Form() == TEForm::eJSON) {
    Output.JSON(Array);
  } else if (!Table.IsEmpty()) {
    Table.Write(Output);
  }
  auto const& Libraries = Context.get_Schema().Libraries();
  bool const AllGood = std::all_of(Libraries.begin(), Libraries.end(),
                                   [](TSSchemaLibrary const& Library) { return Library.Loaded; });
  return Findings.empty() && AllGood ? TEExit::eDone : TEExit::eRefused;
}

TEExit TCSchemaCommand::Export(TCToolContext& Context) const {
  Context.get_Output().Raw(m_Table ? ExportSchemaAsTable() : ExportSchemaAsJSON());
  return TEExit::eDone;
}

TEExit TCSchemaCommand::Orphans(TCToolContext& Context) {
  TCOutput& Output = Context.get_Output();
  nlohmann::ordered_json Array = nlohmann::ordered_json::array();
  TCTextTable Table({"NUMBER", "RECORD", "DEVICE", "VALUE", "REASON"});
  AskForOrphans(Context.get_Server(), std::numeric_limits<int>::min(), [&](TSOrphan const& Orphan) {
    if (Output.get_Form() == TEForm::eJSON) {
      nlohmann::ordered_json Object = Context.get_Naming().JSONOf(Orphan.Place);
      Object["secret"] = Orphan.IsSecret;
      SetTextOrNull(Object, "value", Orphan.Data);
      SetText(Object, "reason", Orphan.Reason);
      Array.push_back(std::move(Object));
      return true;
    }
    std::vector<std::string> const Row = {std::to_string(Orphan.Place.Number), Orphan.Place.Link,
                                          Orphan.Place.MAC, Orphan.Data.value_or(kSecretMask),
                                          Orphan.Reason};
    Output.get_Form() == TEForm::ePlain ? Output.Plain(Row) : Table.Add(Row);
    return true;
  });
  if (Output.get_Form() == TEForm::eJSON) {
    Output.JSON(Array);
  } else if (!Table.IsEmpty()) {
    Table.Write(Output);
  }
  return TEExit::eDone;
}

TEExit TCSchemaCommand::Run(TCToolContext& Context) {
  if (m_Orphans->parsed()) {
    return Orphans(Context);
  }
  Context.get_Schema().Require();
  return m_Check->parsed() ? Check(Context) : Export(Context);
}

}  // namespace Property
