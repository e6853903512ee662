// SPDX-License-Identifier: MIT
// A group's visibility and the warning about one without a container.
#include "CommonProperties/TCPropertyGroup.h"

#include "Platform/Utility/SystemLog.h"

namespace Property {

TCPropertyGroup::TCPropertyGroup(std::string const& Name, int Number,
                                 std::string const& Description, bool Hidden)
    : TCBasicPropertyID(Name, Number, eGroup, Description, Accessories::TCNullTypes<int>()),
      m_Hidden(Hidden) {}

TCPropertyGroup::TCPropertyGroup(int Number, char const* Name, char const* Description, bool Hidden)
    : TCPropertyGroup(std::string(Name), Number, std::string(Description), Hidden) {}

TCPropertyGroup::~TCPropertyGroup() = default;

bool TCPropertyGroup::GetShow() const {
  return !m_Hidden && TCBasicPropertyID::GetShow();
}

void TCPropertyGroup::SetShow(bool Show) {
  m_Hidden = !Show;
}

void TCPropertyGroup::DoInitialize() {
  if (get_Parent().IsNull()) {
    SyslogWarning("Property Group %s is not linked to a container", Viewname(true).c_str());
  }
  TCBasicPropertyID::DoInitialize();
}

}  // namespace Property
