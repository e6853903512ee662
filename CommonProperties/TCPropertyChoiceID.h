// SPDX-License-Identifier: MIT
// How application code names a choice: by number, checked when the schema is initialised.
#pragma once

#include <map>
#include <string>

#include "CommonProperties/PropertyExport.h"

namespace Property {

/// A reference to a choice by its number, entered into a registry of its own. A static object: it
/// stays registered when it is destroyed. The registry is changed under the schema's lock.
class PROPERTY_EXPORT TCPropertyChoiceID {
 public:
  /// Registers the reference; when the number has one already, that one stays in its place. The
  /// first text is not kept.
  TCPropertyChoiceID(std::string const& Unused, int Number, std::string const& Name);
  TCPropertyChoiceID(TCPropertyChoiceID const&) = delete;
  TCPropertyChoiceID& operator=(TCPropertyChoiceID const&) = delete;
  virtual ~TCPropertyChoiceID();

  /// Null when the number is not registered. Takes no lock.
  static TCPropertyChoiceID* Find(int Number);
  /// Drops references to missing nodes, with an error in the system log, and throws TCException for
  /// the first one whose node is no choice. Called by the schema's initialisation.
  static void Initialize();

  int get_AsInteger() const { return m_Number; }
  std::string get_AsString() const;
  /// What messages call this reference.
  std::string Viewname() const;
  /// The value of the choice. Both throw TCException when the number is not that of a choice.
  std::string get_DefaultStringValue() const;
  int get_DefaultIntegerValue() const;

  /// All references by number. Null until the first one is constructed; never freed.
  static std::map<int, TCPropertyChoiceID*>* m_List;

 private:
  int m_Number;
  std::string m_Name;
};

}  // namespace Property
