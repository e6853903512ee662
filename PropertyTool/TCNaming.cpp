// SPDX-License-Identifier: MIT
// Finds properties by schema or number and spells out where their values belong.
#include "PropertyTool/TCNaming.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TextConversions.h"
#include "PropertyTool/TCOutput.h"
#include "PropertyTool/TCToolFailure.h"
#include "SchemaLibrary/TSCurrentValue.h"

namespace Property {
namespace {

std::string CheckMAC(std::string const& Text) {
  bool const IsGood = Text == "own" || Text == "none" || !TCMACAddress(Text).Empty();
  return IsGood ? "" : "\"" + Text + "\" is neither own nor none nor a MAC address";
}

std::string CheckLink(std::string const& Text) {
  bool OK = false;
  StringToLong(Text, OK);
  return OK ? "" : "\"" + Text + "\" is no record number";
}

bool IsNumber(std::string const& Text) {
  bool OK = false;
  return !Text.empty() && Text.find_first_not_of("0123456789") == std::string::npos &&
         StringToLong(Text, OK) >= 0 && OK;
}

}  // namespace

std::string CheckDevice(std::string const& Text) {
  return Text == "all" ? "" : CheckMAC(Text);
}

void TSPlaceOptions::Declare(CLI::App& Command) {
  Command.add_option("--link", Link, "Record that the values belong to, as in NAME[RECORD]")
      ->check(CheckLink)
      ->type_name("RECORD");
  Command
      .add_option("--mac", MAC,
                  "Device that the values belong to: own, none or an address\n"
                  "(default: what the property's class says)")
      ->check(CheckMAC)
      ->type_name("DEVICE");
}

std::string TCNaming::OwnMAC() {
  return TCMACAddress::Own("").get_AsString(':');
}

std::string TCNaming::DeviceOf(std::string const& Option) {
  return Option == "own" ? OwnMAC() : TCMACAddress(Option).get_AsString(':');
}

TSTarget TCNaming::FindByNumber(std::string const& Typed) {
  TSTarget Target;
  std::string Number = Typed;
  std::size_t const Bracket = Typed.find('[');
  if (Bracket != std::string::npos && Typed.back() == ']') {
    Target.Place.Link = Typed.substr(Bracket + 1, Typed.size() - Bracket - 2);
    Number = Typed.substr(0, Bracket);
  }
  if (!IsNumber(Number) || (Number != Typed && !CheckLink(Target.Place.Link).empty())) {
    throw TCToolFailure(TEExit::eRefused,
                        "no property '" + Typed.substr(0, 256) +
                            "': without a schema library properties have numbers only; name files "
                            "or folders with --schema or PROPERTY_SCHEMA");
  }
  Target.Place.Number = ToInt(Number);
  return Target;
}

void TCNaming::ChooseDevice(TSTarget& Target, std::string const& Option) {
  if (!Option.empty()) {
    Target.Place.MAC = DeviceOf(Option);
  } else if (Target.Field == nullptr) {
    Target.IsDeviceOpen = !OwnMAC().empty();
  } else if (IsOfDevices(*Target.Field)) {
    Target.Place.MAC = OwnMAC();
  }
}

TSTarget TCNaming::Find(std::string const& Typed, TSPlaceOptions const& Options) {
  TSTarget Target;
  if (m_Schema.IsThere()) {
    TSNamedProperty const Named = m_Schema.Names().Resolve(Typed);
    if (Named.Field == nullptr && Named.IsUnknown) {
      throw TCToolFailure(TEExit::eRefused, Named.Error,
                          "property list --all shows those that there are");
    }
    if (Named.Field == nullptr) {
      throw TCToolFailure(TEExit::eRefused, Named.Error);
    }
    Target.Field = Named.Field;
    Target.Place.Number = Named.Field->get_Number();
    Target.Place.Link = Named.HasLink ? Named.Link.get_AsString() : std::string();
  } else {
    Target = FindByNumber(Typed);
  }
  if (Target.Place.Link.empty() && !Options.Link.empty()) {
    Target.Place.Link = ToString(ToInt(Options.Link));
  }
  ChooseDevice(Target, Options.MAC);
  return Target;
}

std::optional<std::string> TCNaming::PathOf(int Number) {
  TCPropertyID const* const Field = m_Schema.FindField(Number);
  return Field != nullptr ? std::optional(m_Schema.Names().Path(*Field)) : std::nullopt;
}

std::string TCNaming::NameOf(TSPropertyPlace const& Place) {
  return NameOf(Place, PathOf(Place.Number));
}

std::string TCNaming::NameOf(TSPropertyPlace const& Place, std::optional<std::string> const& Path) {
  std::string Name = Path.value_or(std::to_string(Place.Number));
  if (!Place.Link.empty()) {
    Name += "[" + Place.Link + "]";
  }
  if (!Place.MAC.empty() && Place.MAC != OwnMAC()) {
    Name += " @" + Place.MAC;
  }
  return PrintableText(Name);
}

nlohmann::ordered_json TCNaming::JSONOf(TSPropertyPlace const& Place) {
  return JSONOf(Place, PathOf(Place.Number));
}

nlohmann::ordered_json TCNaming::JSONOf(TSPropertyPlace const& Place,
                                        std::optional<std::string> const& Path) {
  nlohmann::ordered_json Object;
  Object["number"] = Place.Number;
  if (Path) {
    SetText(Object, "path", *Path);
  } else {
    Object["path"] = nullptr;
  }
  Object["record"] = nullptr;
  if (!Place.Link.empty()) {
    Object["record"] = ToInt(Place.Link);
  }
  Object["device"] = nullptr;
  if (!Place.MAC.empty()) {
    SetText(Object, "device", Place.MAC);
  }
  return Object;
}

std::string TCNaming::TextOf(int Number, std::string const& Data) {
  TCPropertyID const* const Field = m_Schema.FindField(Number);
  return Field != nullptr ? TCValueRules::TextForPeople(*Field, Data) : Data;
}

}  // namespace Property
