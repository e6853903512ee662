// SPDX-License-Identifier: MIT
// A group of fields inside a container.
#pragma once

#include <string>

#include "CommonProperties/PropertyExport.h"
#include "CommonProperties/TCBasicPropertyID.h"

namespace Property {

/// A group, which can be hidden as a whole. A TCPropertyLink puts it under its container.
class PROPERTY_EXPORT TCPropertyGroup : public TCBasicPropertyID {
 public:
  /// Throws TCException when `Number` is taken.
  TCPropertyGroup(std::string const& Name, int Number, std::string const& Description, bool Hidden);
  ~TCPropertyGroup() override;

  bool GetShow() const override;
  void SetShow(bool Show) override;
  /// Warns in the system log when the group was put under no container.
  void DoInitialize() override;

 private:
  bool m_Hidden;
};

}  // namespace Property
