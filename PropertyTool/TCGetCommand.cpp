// SPDX-License-Identifier: MIT
// Finds the properties, asks for their values and writes them.
#include "PropertyTool/TCGetCommand.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "PropertyTool/CurrentValue.h"
#include "PropertyTool/TCToolContext.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

std::string Named(std::string const& Name, std::string const& Text) {
  return Name + ": " + Text;
}

}  // namespace

struct TCGetCommand::TSFound {
  TSTarget Target;
  TSCurrentValue Value;
};

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

TCGetCommand::TSFound TCGetCommand::Find(TCToolContext& Context, std::string const& Name) const {
  TSFound Found{Context.get_Naming().Find(Name, m_Places), {}};
  if (Context.get_Secrets().IsSecret(Found.Target.Place.Number)) {
    throw TCToolFailure(TEExit::eRefused, Context.get_Naming().NameOf(Found.Target.Place) +
                                              " is secret; --show-secrets shows it");
  }
  Found.Value = AskForCurrent(Context, Found.Target);
  if (!Found.Value.Data) {
    throw TCToolFailure(TEExit::eRefused, Context.get_Naming().NameOf(Found.Target.Place) +
                                              " has no value, and no default is known");
  }
  return Found;
}

std::string TCGetCommand::TextOf(TCToolContext& Context, TSFound const& Found) const {
  return m_Stored ? *Found.Value.Data
                  : Context.get_Naming().TextOf(Found.Target.Place.Number, *Found.Value.Data);
}

void TCGetCommand::Write(TCToolContext& Context, std::vector<TSFound> const& All) const {
  TCOutput& Output = Context.get_Output();
  nlohmann::ordered_json Array = nlohmann::ordered_json::array();
  for (TSFound const& Found : All) {
    std::string const Text = TextOf(Context, Found);
    std::string const Name = Context.get_Naming().NameOf(Found.Target.Place);
    if (Output.get_Form() == TEForm::eJSON) {
      auto Object = Context.get_Naming().JSONOf(Found.Target.Place);
      SetText(Object, "value", *Found.Value.Data);
      SetText(Object, "text",
              Context.get_Naming().TextOf(Found.Target.Place.Number, *Found.Value.Data));
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
  std::vector<TSFound> All;
  All.reserve(m_Names.size());
  for (std::string const& Name : m_Names) {
    All.push_back(Find(Context, Name));
  }
  Write(Context, All);
  return TEExit::eDone;
}

}  // namespace Property
