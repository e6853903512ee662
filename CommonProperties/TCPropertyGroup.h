// SPDX-License-Identifier: MIT
// A group of fields inside a container.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/SchemaArguments.h"
#include "CommonProperties/TCBasicPropertyID.h"

namespace Property {

/// A group, which can be hidden as a whole. A TCPropertyLink puts it under its container.
class PROPERTY_EXPORT TCPropertyGroup : public TCBasicPropertyID {
 public:
  /// Throws TCException when `Number` is taken.
  TCPropertyGroup(std::string const& Name, int Number, std::string const& Description, bool Hidden);
  /// The same with C strings; a null pointer throws std::logic_error and registers nothing.
  template <class N, class D, TIfText<N, D> = 0>
  TCPropertyGroup(N* Name, int Number, D* Description, bool Hidden)
      : TCPropertyGroup(Number, Name, Description, Hidden) {}
  ~TCPropertyGroup() override;

  bool GetShow() const override;
  void SetShow(bool Show) override;
  /// Warns in the system log when the group was put under no container.
  void DoInitialize() override;

 private:
  TCPropertyGroup(int Number, char const* Name, char const* Description, bool Hidden);

  bool m_Hidden;
};

}  // namespace Property
