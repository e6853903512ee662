// SPDX-License-Identifier: MIT
// Finds the properties, asks for their values and writes them.
#include "PropertyTool/TCGetCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

std::string Named(std::string const& Name, std::string const& Text) {
  return Name + ": " + Text;
}

void RequireShown(TSFoundValue const& Found) {
  if (Found.IsSecret) {
    throw TCToolFailure(TEExit::eRefused, Found.get_Name() + " is secret; --show-secrets shows it");
  }
  if (!Found.Value.Data) {
    std::string Text = Found.get_Name() + " has no value, and no default is known";
    if (Found.Place.Link.empty()) {
      Text += "; that of a record is " +
              TCNaming::NameOf({Found.Place.Number, "RECORD", std::string()}, Found.Path);
    }
    throw TCToolFailure(TEExit::eRefused, Text);
  }
}

}  // namespace

CLI::App& TCGetCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("get", "Print the values of properties");
  Command->add_option("PROPERTY", m_Names, "Number, name or path; NAME[RECORD] for a record's")
      ->required()
      ->type_name("");
  m_Places.Declare(*Command);
  Command->add_flag("--stored", m_Stored, "Choices and truth values as they are stored");
  Command->footer(
      "The value of one property stands alone on the line; of several, each behind its\n"
      "name. What is not stored has its default.\n\n"
      "Examples:\n"
      "  property get DisplayBrightness\n"
      "  property get Device/Network/HostName 1241\n"
      "  property get 'UserName[7]' --json");
  return *Command;
}

std::string TCGetCommand::TextOf(TSFoundValue const& Found) const {
  return m_Stored ? *Found.Value.Data : Found.Text;
}

void TCGetCommand::Write(TCToolContext& Context, std::vector<TSFoundValue> const& All) const {
  TCOutput& Output = Context.get_Output();
  nlohmann::ordered_json Array = nlohmann::ordered_json::array();
  for (TSFoundValue const& Found : All) {
    std::string const Text = TextOf(Found);
    std::string const Name = Found.get_Name();
    if (Output.get_Form() == TEForm::eJSON) {
      auto Object = TCNaming::JSONOf(Found.Place, Found.Path);
      SetText(Object, "value", *Found.Value.Data);
      SetText(Object, "text", Found.Text);
      Object["source"] = Found.Value.IsDefault ? "default" : "server";
      Array.push_back(std::move(Object));
    } else if (Output.get_Form() == TEForm::ePlain) {
      Output.Plain({Name, Text});
    } else if (All.size() == 1) {
      Output.Value(Text);
    } else {
      Output.Value(Named(Name, Text));
    }
  }
  if (Output.get_Form() == TEForm::eJSON) {
    Output.JSON(Array);
  }
}

TEExit TCGetCommand::Run(TCToolContext& Context) {
  std::vector<TSFoundValue> const All = FindValues(Context, m_Names, m_Places);
  for (TSFoundValue const& Found : All) {
    RequireShown(Found);
  }
  Write(Context, All);
  return TEExit::eDone;
}

}  // namespace Property
