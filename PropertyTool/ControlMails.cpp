// SPDX-License-Identifier: MIT
// Writes who has changed what.
#include "PropertyTool/ControlMails.h"

#include <nlohmann/json.hpp>

#include "Platform/Utility/TextConversions.h"
#include "PropertyTool/Durations.h"
#include "PropertyTool/TCOutput.h"

namespace Property {
namespace {

void SetNumberOrNull(nlohmann::ordered_json& Object, char const* Name, std::string const& Text) {
  bool OK = false;
  long long const Number = StringToBigInt(Text, OK);
  Object[Name] = nullptr;
  if (OK) {
    Object[Name] = Number;
  }
}

}  // namespace

void SetWriter(nlohmann::ordered_json& Object, TSWriter const& Writer) {
  SetNumberOrNull(Object, "transaction", Writer.Transaction);
  SetTextOrNull(Object, "time",
                Writer.Time > 0 ? std::optional(TimeText(Writer.Time)) : std::nullopt);
  SetNumberOrNull(Object, "user", Writer.User);
  std::string const UserName = Writer.get_UserName();
  SetTextOrNull(Object, "user_name", UserName.empty() ? std::nullopt : std::optional(UserName));
  SetNumberOrNull(Object, "process", Writer.Process);
  SetTextOrNull(Object, "program",
                Writer.Program.empty() ? std::nullopt : std::optional(Writer.Program));
}

void SetTextOrNull(nlohmann::ordered_json& Object, std::string const& Name,
                   std::optional<std::string> const& Text) {
  if (Text) {
    SetText(Object, Name, *Text);
  } else {
    Object[Name] = nullptr;
  }
}

}  // namespace Property
