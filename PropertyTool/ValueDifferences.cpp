// SPDX-License-Identifier: MIT
// Compares states and shows what differs.
#include "PropertyTool/ValueDifferences.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "PropertyTool/ControlMails.h"
#include "ServerClient/ServerValues.h"

namespace Property {
namespace {

std::string TextOf(TCToolContext& Context, TSPropertyPlace const& Place, std::string const& Data) {
  return Context.get_Secrets().IsSecret(Place.Number)
             ? kSecretMask
             : PrintableText(Context.get_Naming().TextOf(Place.Number, Data));
}

// Sign, name, former and new text.
std::vector<std::string> ColumnsOf(TCToolContext& Context, TSValueDifference const& Difference) {
  auto const& [Place, Former, Data] = Difference;
  return {!Former ? "+"
          : !Data ? "-"
                  : "~",
          Context.get_Naming().NameOf(Place),
          Former ? TextOf(Context, Place, *Former) : std::string(),
          Data ? TextOf(Context, Place, *Data) : std::string()};
}

std::string LineOf(TCToolContext& Context, TSValueDifference const& Difference) {
  std::vector<std::string> const Columns = ColumnsOf(Context, Difference);
  std::string Line = Columns[0] + " " + Columns[1] + ": ";
  if (!Difference.Former) {
    return Context.get_Output().Styled(Line.append(Columns[3]), TCOutput::TEStyle::eAdded);
  }
  if (!Difference.Data) {
    return Context.get_Output().Styled(Line.append(Columns[2]), TCOutput::TEStyle::eRemoved);
  }
  return Line.append(Columns[2]).append(" -> ").append(Columns[3]);
}

}  // namespace

std::vector<TSValueDifference> Compare(TCValueState const& Former, TCValueState const& State,
                                       bool WithMissing) {
  std::vector<TSValueDifference> Differences;
  auto Old = Former.begin();
  auto const TakeMissing = [&] {
    if (WithMissing && Old->second) {
      Differences.push_back({Old->first, Old->second, std::nullopt});
    }
    ++Old;
  };
  for (auto const& [Place, Data] : State) {
    while (Old != Former.end() && Old->first < Place) {
      TakeMissing();
    }
    bool const IsThere = Old != Former.end() && Old->first == Place;
    bool const IsKnown = Data && (!IsThere || Old->second);
    if (IsKnown && (!IsThere || *Old->second != *Data)) {
      Differences.push_back({Place, IsThere ? Old->second : std::nullopt, Data});
    }
    if (IsThere) {
      ++Old;
    }
  }
  while (Old != Former.end()) {
    TakeMissing();
  }
  return Differences;
}

TCValueState AskForState(TCToolContext& Context) {
  TCValueState State;
  AskForAll(Context.get_Server(), [&State](TSValueRecord const& Record) {
    if (Record.Data) {
      State.emplace(Record.Place, Record.Data);
    }
  });
  return State;
}

void Show(TCToolContext& Context, std::vector<TSValueDifference> const& Differences) {
  TCOutput& Output = Context.get_Output();
  for (TSValueDifference const& Difference : Differences) {
    if (Output.get_Form() == TEForm::ePlain) {
      Output.Plain(ColumnsOf(Context, Difference));
    } else {
      Output.Line(LineOf(Context, Difference));
    }
  }
}

nlohmann::ordered_json AsJSON(TCToolContext& Context,
                              std::vector<TSValueDifference> const& Differences) {
  nlohmann::ordered_json Array = nlohmann::ordered_json::array();
  for (auto const& [Place, Former, Data] : Differences) {
    auto Object = Context.get_Naming().JSONOf(Place);
    bool const Secret = Context.get_Secrets().IsSecret(Place.Number);
    Object["secret"] = Secret;
    SetTextOrNull(Object, "former", Secret ? std::nullopt : Former);
    SetTextOrNull(Object, "value", Secret ? std::nullopt : Data);
    Array.push_back(std::move(Object));
  }
  return Array;
}

}  // namespace Property
