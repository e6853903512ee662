// SPDX-License-Identifier: MIT
// One allowed value of a choice field.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/TCBasicPropertyID.h"

namespace Property {

class TCPropertyID;

/// A choice: a node of its own, with a number that values store and a value text that they read
/// as. Its parent is the field that it belongs to, which must have been constructed before.
class PROPERTY_EXPORT TCPropertyChoice : public TCBasicPropertyID {
 public:
  /// Adds the choice to `Owner`. Throws TCException when `Number` is taken; `Owner` is unchanged.
  TCPropertyChoice(std::string const& Name, std::string const& Description, int Number,
                   bool Default, TCPropertyID* Owner, std::string const& Value);
  /// The same with the decimal text of `Value`.
  TCPropertyChoice(std::string const& Name, std::string const& Description, int Number,
                   bool Default, TCPropertyID* Owner, int Value);
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
  friend class TCPropertyInitOverride;  // moves the default mark

  TCPropertyChoice(TCPropertyID* Owner, std::string&& Value, std::string const& Name,
                   std::string const& Description, int Number, bool Default);

  bool m_Hidden = false;
  mutable bool m_Default;  // an override moves it through the field's list of constant choices
  std::string m_Value;
  int m_ChoiceOrder;
};

}  // namespace Property
