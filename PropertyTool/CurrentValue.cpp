// SPDX-License-Identifier: MIT
// Asks for values, also where nobody has said whose.
#include "PropertyTool/CurrentValue.h"

#include "PropertyTool/TCToolFailure.h"
#include "ServerClient/ServerValues.h"

namespace Property {
namespace {

std::optional<std::string> AskForOpen(TCToolContext& Context, TSTarget& Target) {
  TSPropertyPlace Own = Target.Place;
  Own.MAC = TCNaming::OwnMAC();
  auto const OfDevice = AskForOne(Context.get_Server(), Own);
  auto const OfNone = AskForOne(Context.get_Server(), Target.Place);
  if (OfDevice && OfNone) {
    throw TCToolFailure(TEExit::eRefused, "property " + std::to_string(Own.Number) +
                                              " has a value of this device and one of none; say "
                                              "--mac own or --mac none");
  }
  if (OfDevice) {
    Target.Place = Own;
  }
  Target.IsDeviceOpen = !OfDevice && !OfNone;
  return OfDevice ? OfDevice : OfNone;
}

}  // namespace

TSCurrentValue AskForCurrent(TCToolContext& Context, TSTarget& Target) {
  return CurrentOf(Target.Field, Target.IsDeviceOpen
                                     ? AskForOpen(Context, Target)
                                     : AskForOne(Context.get_Server(), Target.Place));
}

}  // namespace Property
