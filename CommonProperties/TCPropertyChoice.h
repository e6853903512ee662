// SPDX-License-Identifier: MIT
// One allowed value of a choice field.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"
#include "CommonProperties/TCBasicPropertyID.h"

namespace Property {

class TCPropertyID;

/// A choice: a node of its own, with a number that values store and a value text that they read
/// as. Its parent is the field that it belongs to. The field may be a static object that is
/// constructed later, in another file: the choice has no parent and is in no list until then.
class PROPERTY_EXPORT TCPropertyChoice : public TCBasicPropertyID {
 public:
  /// Adds the choice to `Owner`. Throws TCException when `Number` is taken; `Owner` is unchanged.
  TCPropertyChoice(std::string const& Name, std::string const& Description, int Number,
                   bool Default, TCPropertyID* Owner, std::string const& Value);
  /// The same with the decimal text of `Value`.
  TCPropertyChoice(std::string const& Name, std::string const& Description, int Number,
                   bool Default, TCPropertyID* Owner, int Value);
  // The same with C strings. A null pointer throws std::logic_error and registers nothing.
  template <class N, class D, TIfText<N, D> = 0>
  TCPropertyChoice(N* Name, D* Description, int Number, bool Default, TCPropertyID* Owner,
                   std::string const& Value)
      : TCPropertyChoice(Owner, Name, Description, Number, Default, Value) {}
  template <class N, class D, class V, TIfText<N, D, V> = 0>
  TCPropertyChoice(N* Name, D* Description, int Number, bool Default, TCPropertyID* Owner, V* Value)
      : TCPropertyChoice(Owner, Name, Description, Number, Default, Value) {}
  template <class N, class D, TIfText<N, D> = 0>
  TCPropertyChoice(N* Name, D* Description, int Number, bool Default, TCPropertyID* Owner,
                   int Value)
      : TCPropertyChoice(Owner, Name, Description, Number, Default, Value) {}
  ~TCPropertyChoice() override;

  std::string Viewname(bool Flag) const override;
  bool GetShow() const override { return !m_Hidden; }
  void SetShow(bool Show) override { m_Hidden = !Show; }
  void DoInitialize() override;

  /// Whether this choice is marked as its field's default.
  bool get_Default() const { return m_Default; }
  using TCBasicPropertyID::GetOrder;
  /// The place in the field's list. The const form answers the place among sibling nodes.
  int GetOrder() { return m_ChoiceOrder; }
  std::string const& get_Value() const { return m_Value; }

 private:
  friend class TCBasicPropertyID;       // has all fields required
  friend class TCPropertyID;            // has its choices join it
  friend class TCPropertyInitOverride;  // moves the default mark

  TCPropertyChoice(TCPropertyID* Owner, char const* Name, char const* Description, int Number,
                   bool Default, std::string const& Value);
  TCPropertyChoice(TCPropertyID* Owner, char const* Name, char const* Description, int Number,
                   bool Default, char const* Value);
  TCPropertyChoice(TCPropertyID* Owner, char const* Name, char const* Description, int Number,
                   bool Default, int Value);
  TCPropertyChoice(TCPropertyID* Owner, std::string&& Value, std::string const& Name,
                   std::string const& Description, int Number, bool Default);

  /// Null for a field that is not constructed.
  static Accessories::TCNullTypes<int> NumberOf(TCPropertyID const* Owner);
  /// Hands over to `Field` the choices that were constructed before it.
  static void Join(TCPropertyID& Field);
  /// Throws TCException when a choice still waits for its field.
  static void RequireConstructed();
  void JoinOwner(TCPropertyID* Owner);

  bool m_Hidden = false;
  mutable bool m_Default;  // an override moves it through the field's list of constant choices
  std::string m_Value;
  int m_ChoiceOrder = 0;
};

}  // namespace Property
