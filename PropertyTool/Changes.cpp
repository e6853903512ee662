// SPDX-License-Identifier: MIT
// Sends changes and finds out what became of them.
#include "PropertyTool/Changes.h"

#include <CLI/CLI.hpp>

#include "PropertyTool/CurrentValue.h"
#include "PropertyTool/Durations.h"
#include "PropertyTool/ServerValues.h"
#include "PropertyTool/TCToolFailure.h"

namespace Property {
namespace {

// A refused change leaves what was there.
void RequireTaken(TCToolContext& Context, std::vector<TSPropertyValue> const& Values) {
  for (TSPropertyValue const& Value : Values) {
    if (AskForOne(Context.get_Server(), Value.Place) != Value.Data) {
      throw TCToolFailure(TEExit::eRefused,
                          Context.get_Naming().NameOf(Value.Place) +
                              " is not what it was set to: the server has refused the change, or "
                              "another has come after it; the server's log says why");
    }
  }
}

}  // namespace

void TSChangeOptions::Declare(CLI::App& Command) {
  auto* const Option = Command.add_flag("--no-wait", NoWait,
                                        "Return when the change is sent, not when it is stored");
  Command.add_option("--timeout", Timeout, "How long to wait for it to be stored, as 10s or 5m")
      ->check(CheckDuration)
      ->excludes(Option)
      ->capture_default_str()
      ->type_name("DURATION");
}

std::chrono::milliseconds TSChangeOptions::get_Timeout() const {
  return ReadDuration(Timeout).value_or(std::chrono::minutes(1));
}

void SettleDevice(TCToolContext& Context, TSTarget& Target) {
  if (Target.IsDeviceOpen) {
    AskForCurrent(Context, Target);
  }
  if (Target.IsDeviceOpen) {
    throw TCToolFailure(TEExit::eRefused,
                        "nothing says whose value property " + std::to_string(Target.Place.Number) +
                            " is; say --mac own for this device's or --mac none for the system's");
  }
}

void Change(TCToolContext& Context, std::vector<TSPropertyValue> const& Values,
            TSChangeOptions const& Options) {
  SendChange(Context.get_Server(), Values);
  if (!Options.NoWait) {
    Context.get_Server().WaitUntilStored(static_cast<int>(Options.get_Timeout().count()));
    RequireTaken(Context, Values);
  }
}

}  // namespace Property
