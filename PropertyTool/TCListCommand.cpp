// SPDX-License-Identifier: MIT
// Lays the stored values over the schema's tree.
#include "PropertyTool/TCListCommand.h"

#include <fnmatch.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "PropertyTool/TCTextTable.h"
#include "SchemaLibrary/ASCIICase.h"
#include "SchemaLibrary/Visibility.h"
#include "ServerClient/ServerValues.h"

namespace Property {

struct TCListCommand::TSRow {
  TSPropertyPlace Place;
  TCPropertyID const* Field;
  TSCurrentValue Value;

  char const* Source() const {
    return Value.IsDefault ? "default" : Value.Data ? "server" : "none";
  }
};

CLI::App& TCListCommand::Declare(CLI::App& Tool) {
  CLI::App* const Command = Tool.add_subcommand("list", "Show properties and their values");
  Command
      ->add_option("FILTER", m_Filters,
                   "Part of a path, or a pattern with * and ? for a whole one;\n"
                   "small and capital letters are the same")
      ->type_name("");
  Command->add_flag("--all", m_All, "Also what is hidden or for advanced users");
  Command->add_flag("--set", m_Set, "Only what is stored, no defaults");
  Command->add_flag("--table", m_Table, "A table with numbers instead of a tree");
  Command
      ->add_option("--mac", m_MAC, "Device: own, none, all or an address (default: own and none)")
      ->check(CheckDevice)
      ->type_name("DEVICE");
  Command->footer(
      "Examples:\n"
      "  property list\n"
      "  property list network --table\n"
      "  property list --set 'Device/*' --json");
  return *Command;
}

bool TCListCommand::IsWantedPath(std::string const& Path) const {
  return m_Filters.empty() ||
         std::any_of(m_Filters.begin(), m_Filters.end(), [&Path](std::string const& Filter) {
           return Filter.find_first_of("*?") != std::string::npos
                      ? fnmatch(Filter.c_str(), Path.c_str(), FNM_CASEFOLD) == 0
                      : LowerCase(Path).find(LowerCase(Filter)) != std::string::npos;
         });
}

bool TCListCommand::IsWantedDevice(std::string const& MAC) const {
  if (m_MAC.empty()) {
    return MAC.empty() || MAC == TCNaming::OwnMAC();
  }
  return m_MAC == "all" || MAC == TCNaming::DeviceOf(m_MAC);
}

TCListCommand::TCStored TCListCommand::AskForStored(TCToolContext& Context) const {
  TCStored Stored;
  AskForAll(Context.get_Server(), [&](TSValueRecord const& Record) {
    if (Record.Data && IsWantedDevice(Record.Place.MAC)) {
      Stored.emplace(Record.Place, *Record.Data);
    }
  });
  return Stored;
}

// What is found is taken out of the stored values.
void TCListCommand::CollectField(TCToolContext& Context, TCPropertyID const& Field,
                                 TCStored& Stored, std::vector<TSRow>& Rows) const {
  int const Number = Field.get_Number();
  bool const IsShown = (m_All || VisibilityOf(Field) == TEVisibility::eShown) &&
                       IsWantedPath(Context.get_Schema().Names().Path(Field));
  bool HasAny = false;
  auto Next = Stored.lower_bound({Number, "", ""});
  while (Next != Stored.end() && Next->first.Number == Number) {
    if (IsShown && !(m_Set && Next->second.empty())) {
      Rows.push_back({Next->first, &Field, CurrentOf(&Field, Next->second)});
    }
    HasAny = true;
    Next = Stored.erase(Next);
  }
  if (IsShown && !HasAny && !m_Set) {
    Rows.push_back({{Number, "", ""}, &Field, CurrentOf(&Field, std::nullopt)});
  }
}

std::vector<TCListCommand::TSRow> TCListCommand::Collect(TCToolContext& Context) const {
  TCStored Stored = AskForStored(Context);
  std::vector<TSRow> Rows;
  if (Context.get_Schema().IsThere()) {
    for (TCPropertyID const* const Field : Context.get_Schema().Names().get_Fields()) {
      CollectField(Context, *Field, Stored, Rows);
    }
  }
  for (auto const& [Place, Data] : Stored) {
    if (IsWantedPath(std::to_string(Place.Number))) {
      Rows.push_back({Place, nullptr, {Data, false}});
    }
  }
  return Rows;
}

std::string TCListCommand::TextOf(TCToolContext& Context, TSRow const& Row) {
  if (!Row.Value.Data) {
    return std::string();
  }
  return Context.get_Secrets().IsSecret(Row.Place.Number)
             ? kSecretMask
             : Context.get_Naming().TextOf(Row.Place.Number, *Row.Value.Data);
}

void TCListCommand::WriteJSON(TCToolContext& Context, std::vector<TSRow> const& Rows) {
  nlohmann::ordered_json Array = nlohmann::ordered_json::array();
  for (TSRow const& Row : Rows) {
    auto Object = Context.get_Naming().JSONOf(Row.Place);
    bool const Secret = Context.get_Secrets().IsSecret(Row.Place.Number);
    if (Secret || !Row.Value.Data) {
      Object["value"] = nullptr;
      Object["text"] = nullptr;
    } else {
      SetText(Object, "value", *Row.Value.Data);
      SetText(Object, "text", TextOf(Context, Row));
    }
    Object["secret"] = Secret;
    Object["source"] = Row.Source();
    Object["visibility"] = nullptr;
    if (Row.Field != nullptr) {
      Object["visibility"] = NameOf(VisibilityOf(*Row.Field));
    }
    Array.push_back(std::move(Object));
  }
  Context.get_Output().JSON(Array);
}

void TCListCommand::WritePlain(TCToolContext& Context, std::vector<TSRow> const& Rows) {
  for (TSRow const& Row : Rows) {
    Context.get_Output().Plain({std::to_string(Row.Place.Number),
                                Context.get_Naming().NameOf(Row.Place), TextOf(Context, Row),
                                Row.Source()});
  }
}

void TCListCommand::WriteTable(TCToolContext& Context, std::vector<TSRow> const& Rows) {
  TCTextTable Table({"NUMBER", "PROPERTY", "FROM", "VALUE"});
  for (TSRow const& Row : Rows) {
    Table.Add({std::to_string(Row.Place.Number), Context.get_Naming().NameOf(Row.Place),
               Row.Source(), TextOf(Context, Row)});
  }
  Table.Write(Context.get_Output());
}

// What stands behind the name; nothing where there is no text.
std::string TCListCommand::Assigned(TCToolContext& Context, TSRow const& Row) {
  std::string const Text = PrintableText(TextOf(Context, Row));
  if (Text.empty()) {
    return std::string();
  }
  return " = " + (Row.Value.IsDefault
                      ? Context.get_Output().Styled(Text + "  (default)", TCOutput::TEStyle::eFaint)
                      : Text);
}

// A container or group is named where the first row below it comes.
void TCListCommand::WriteTree(TCToolContext& Context, std::vector<TSRow> const& Rows) {
  TCOutput& Output = Context.get_Output();
  std::vector<std::string> Above;
  for (TSRow const& Row : Rows) {
    std::vector<std::string> Parts;
    std::string Name = Context.get_Naming().NameOf(Row.Place);
    for (std::size_t Slash = 0; (Slash = Name.find('/')) != std::string::npos;) {
      Parts.push_back(Name.substr(0, Slash));
      Name.erase(0, Slash + 1);
    }
    auto const Differs = std::mismatch(Above.begin(), Above.end(), Parts.begin(), Parts.end());
    for (auto Part = Differs.second; Part != Parts.end(); ++Part) {
      auto const Depth = static_cast<std::size_t>(Part - Parts.begin());
      Output.Line(std::string(2 * Depth, ' ') + Output.Styled(*Part, TCOutput::TEStyle::eHeading));
    }
    Output.Line(std::string(2 * Parts.size(), ' ').append(Name).append(Assigned(Context, Row)));
    Above = std::move(Parts);
  }
}

TEExit TCListCommand::Run(TCToolContext& Context) {
  std::vector<TSRow> const Rows = Collect(Context);
  if (Rows.empty() && !m_Filters.empty()) {
    std::fputs(m_All ? "property: nothing fits; property list --all shows what there is\n"
                     : "property: nothing fits; --all also looks at what is hidden or advanced\n",
               stderr);
  }
  switch (Context.get_Output().get_Form()) {
    case TEForm::eJSON:
      WriteJSON(Context, Rows);
      break;
    case TEForm::ePlain:
      WritePlain(Context, Rows);
      break;
    case TEForm::ePeople:
      m_Table ? WriteTable(Context, Rows) : WriteTree(Context, Rows);
      break;
  }
  return TEExit::eDone;
}

}  // namespace Property
