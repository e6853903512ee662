// SPDX-License-Identifier: MIT
// How application code names a choice: by number, checked when the schema is initialised.
#pragma once

#include <map>
#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"

namespace Property {

/// A reference to a choice by its number, entered into a registry of its own. A static object: it
/// stays registered when it is destroyed. Its copies name the same choice and are not registered,
/// so they may live as long as they like. The registry is changed under the schema's lock.
class PROPERTY_EXPORT TCPropertyChoiceID {
 public:
  /// Registers the reference; when the number has one already, that one stays in its place. The
  /// first text is not kept.
  TCPropertyChoiceID(std::string const& Unused, int Number, std::string const& Name);
  /// The same with C strings; a null pointer throws std::logic_error and registers nothing.
  template <class U, class N, TIfText<U, N> = 0>
  TCPropertyChoiceID(U* Unused, int Number, N* Name) : TCPropertyChoiceID(Number, Unused, Name) {}
  TCPropertyChoiceID(TCPropertyChoiceID const&) = default;
  /// A registered reference that becomes one to another choice leaves the registry. When memory
  /// runs out, it is unchanged.
  TCPropertyChoiceID& operator=(TCPropertyChoiceID const& Right);
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
  TCPropertyChoiceID(int Number, char const* Unused, char const* Name);
  void Unregister() noexcept;

  int m_Number;
  [[maybe_unused]] TSOnePiece m_OnePiece = {};
  std::string m_Name;
};

}  // namespace Property
