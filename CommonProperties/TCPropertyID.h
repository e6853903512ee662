// SPDX-License-Identifier: MIT
// The definition of a property that carries a value, and the property that stands for none.
#pragma once

#include <boost/any.hpp>
#include <list>
#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"
#include "CommonProperties/TCBasicPropertyID.h"
#include "Platform/Utility/TCNullTypes.h"

namespace Property {

class TCCommonPropertyObject;
class TCPropertyChoice;

// A field's default hides the virtual one on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"

/// A boolean, integer, string or choice field: flags, default value, choices, validation pattern.
///
/// The flags are 0x01 hidden, 0x02 and 0x04 visibility levels, 0x08 boolean, 0x10 integer (every
/// choice field is one too), 0x20 string. The constructor derives the type from them: integer
/// before string before boolean; the first choice makes it a choice field. Later changes of the
/// flags do not change the type.
///
/// Refers to its choices and does not own them. The searches for a choice take the schema's lock.
class PROPERTY_EXPORT TCPropertyID : public TCBasicPropertyID {
 public:
  /// A field without a default value. All forms throw TCException when `Number` is taken.
  TCPropertyID(std::string const& Name, int Number, std::string const& Description,
               Accessories::TCNullTypes<int> const& Parent, int Flags);
  /// Keeps the default as "1" or "0".
  TCPropertyID(std::string const& Name, int Number, std::string const& Description,
               Accessories::TCNullTypes<int> const& Parent, int Flags, bool Default);
  TCPropertyID(std::string const& Name, int Number, std::string const& Description,
               Accessories::TCNullTypes<int> const& Parent, int Flags, int Default);
  /// Throws std::logic_error when `Default` is null; nothing is registered.
  TCPropertyID(std::string const& Name, int Number, std::string const& Description,
               Accessories::TCNullTypes<int> const& Parent, int Flags, char const* Default);
  TCPropertyID(std::string const& Name, int Number, std::string const& Description,
               Accessories::TCNullTypes<int> const& Parent, int Flags, std::string const& Default);

  // The same with C strings for name and description. A null pointer throws std::logic_error and
  // registers nothing.
  template <class N, class D, class P = TCParentNumber, TIfNode<N, D, P> = 0>
  TCPropertyID(N* Name, int Number, D* Description, P Parent, int Flags)
      : TCPropertyID(Number, Name, Description, Parent, Flags) {}
  template <class N, class D, class P = TCParentNumber, TIfNode<N, D, P> = 0>
  TCPropertyID(N* Name, int Number, D* Description, P Parent, int Flags, bool Default)
      : TCPropertyID(Number, Name, Description, Parent, Flags, Default ? "1" : "0") {}
  template <class N, class D, class P = TCParentNumber, TIfNode<N, D, P> = 0>
  TCPropertyID(N* Name, int Number, D* Description, P Parent, int Flags, int Default)
      : TCPropertyID(Number, Name, Description, Parent, Flags, Default) {}
  template <class N, class D, class P = TCParentNumber, TIfNode<N, D, P> = 0>
  TCPropertyID(N* Name, int Number, D* Description, P Parent, int Flags, char const* Default)
      : TCPropertyID(Number, Name, Description, Parent, Flags, Default) {}
  template <class N, class D, class P = TCParentNumber, TIfNode<N, D, P> = 0>
  TCPropertyID(N* Name, int Number, D* Description, P Parent, int Flags, std::string const& Default)
      : TCPropertyID(Number, Name, Description, Parent, Flags, Default) {}
  ~TCPropertyID() override;

  /// Null when no node has `Number`. Throws TCException when the node is no field.
  static TCPropertyID* Find(int Number);

  /// Appends a choice, which makes this a choice field. Returns its place, from 0. Called by the
  /// choice's constructor.
  int AddChoice(TCPropertyChoice const* Choice);
  bool HaveChoice(int Number) const;
  /// The last choice marked as default, else the first one, else null. The flag has no effect.
  TCPropertyChoice const* GetDefaultChoice(bool Flag) const;
  /// The first choice whose value text is `Value`. `NotFound` tells that there is none; the answer
  /// is then the default choice.
  TCPropertyChoice const* FindChoiceByValue(std::string const& Value, bool& NotFound) const;
  /// The same by the choice's number.
  TCPropertyChoice const* FindChoiceByID(int Number, bool& NotFound) const;

  /// A choice field answers the number of its default choice. Null when there is no default.
  /// Not the virtual operation of the same name, which answers null for every field.
  Accessories::TCNullTypes<std::string> GetDefaultValue() const;
  /// Gives `Object` this field's default; without one it stays as it is, as it does for a field
  /// that is neither choice nor integer nor string nor boolean.
  void SetDefaultValue(TCCommonPropertyObject& Object) const;
  /// The text of an untyped value of this field: an int for choice, integer and boolean fields, a
  /// std::string for string and lookup fields. Null for an empty value and for other types of
  /// field. Throws boost::bad_any_cast when `Value` holds another type.
  Accessories::TCNullTypes<std::string> BoostCast(boost::any const& Value) const;

  void SetShow(bool Show) override;
  using TCBasicPropertyID::GetShow;
  /// The visibility level: 0 hidden, 1 or 2. The const form answers true, hidden or not.
  int GetShow();
  /// Derives the type, and an integer's pattern, from the flags; without a type flag it stays.
  void SetFieldType();
  /// Throws TCException when there is no type flag, with nothing changed, and when two choices
  /// that follow each other are both default, after the override was applied.
  void DoInitialize() override;

  int get_Flags() const { return m_Flags; }
  /// The default as declared. A choice field goes by its choices instead.
  Accessories::TCNullTypes<std::string> const& get_DefaultValue() const { return m_DefaultValue; }
  /// The validation pattern; empty for none.
  std::string const& get_Regex() const { return m_Regex; }
  void set_Regex(std::string const& Regex) { m_Regex = Regex; }
  /// In the order in which they were added.
  std::list<TCPropertyChoice const*> const& get_Choices() const { return m_Choices; }

 private:
  friend class TCPropertyChoice;        // hands over the choices that were constructed before
  friend class TCPropertyInitOverride;  // adjusts flags, default and default choice

  TCPropertyID(int Number, char const* Name, char const* Description, TCParentNumber Parent,
               int Flags);
  TCPropertyID(int Number, char const* Name, char const* Description, TCParentNumber Parent,
               int Flags, int Default);
  TCPropertyID(int Number, char const* Name, char const* Description, TCParentNumber Parent,
               int Flags, char const* Default);
  TCPropertyID(int Number, char const* Name, char const* Description, TCParentNumber Parent,
               int Flags, std::string const& Default);
  TCPropertyID(int Flags, Accessories::TCNullTypes<std::string>&& Default, std::string const& Name,
               int Number, std::string const& Description,
               Accessories::TCNullTypes<int> const& Parent);

  /// Takes what was declared about this field before it was constructed.
  void TakeEarlyDeclarations();
  /// Appends choices and makes this a choice field.
  void TakeChoices(std::list<TCPropertyChoice const*>&& Choices) noexcept;

  template <class TMatch>
  TCPropertyChoice const* FindChoice(TMatch const& Match, bool& NotFound) const;

  Accessories::TCNullTypes<std::string> m_DefaultValue;
  std::list<TCPropertyChoice const*> m_Choices;
  int m_Flags;
  std::string m_Regex;
};

#pragma GCC diagnostic pop

/// The field "unassigned", number 0, which stands for the absence of a property. Built by the
/// first call, so that static objects of any file may use it; never destroyed.
PROPERTY_EXPORT TCPropertyID& UnassignedProperty();

/// The same, once this library's static initialisers have run.
extern PROPERTY_EXPORT TCPropertyID& Prop_Unassigned;

}  // namespace Property
