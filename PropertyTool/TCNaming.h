// SPDX-License-Identifier: MIT
// From what people type to places of values, and back to what people read.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "PropertyTool/TCSchemaRoom.h"
#include "ServerClient/TSPropertyPlace.h"

namespace CLI {
class App;
}

namespace Property {

/// What the options --link and --mac say about the places of all properties of a command.
struct TSPlaceOptions {
  std::string Link;
  std::string MAC;  ///< "own", "none", an address, or empty: what the property's class says

  void Declare(CLI::App& Command);
};

/// For the options of lists, which may mean all devices: what is wrong with one; empty for nothing.
std::string CheckDevice(std::string const& Text);

/// A property that was named. The field is null where no schema knows its number.
struct TSTarget {
  TSPropertyPlace Place;
  TCPropertyID const* Field = nullptr;
  bool IsDeviceOpen = false;  ///< nobody has said whose value is meant: this device's or none's
};

/// Names of properties and places, by a schema or, where there is none, by numbers.
/// Refers to the schema. Not synchronised.
class TCNaming {
 public:
  explicit TCNaming(TCSchemaRoom& Schema) : m_Schema(Schema) {}

  /// Throws TCToolFailure for what no property is called, with what may have been meant.
  TSTarget Find(std::string const& Typed, TSPlaceOptions const& Options);
  /// "Path", "Path[7]", and with " @02:00:00:00:00:01" the value of another device. For people.
  std::string NameOf(TSPropertyPlace const& Place);
  /// The same where the path is known; null for a number that no schema knows.
  static std::string NameOf(TSPropertyPlace const& Place, std::optional<std::string> const& Path);
  /// The members number, path, record and device; null for what there is none of.
  nlohmann::ordered_json JSONOf(TSPropertyPlace const& Place);
  static nlohmann::ordered_json JSONOf(TSPropertyPlace const& Place,
                                       std::optional<std::string> const& Path);
  /// A stored text as people read it.
  std::string TextOf(int Number, std::string const& Data);

  /// This device's address, with ":"; empty for none.
  static std::string OwnMAC();
  /// The address that an option's "own", "none" or address means.
  static std::string DeviceOf(std::string const& Option);

 private:
  std::optional<std::string> PathOf(int Number);
  TSTarget FindByNumber(std::string const& Typed);
  static void ChooseDevice(TSTarget& Target, std::string const& Option);

  TCSchemaRoom& m_Schema;
};

}  // namespace Property
