// SPDX-License-Identifier: MIT
// A node gets at most one parent: its constructor's or the first link's.
#include "CommonProperties/TCPropertyLink.h"

#include "CommonProperties/TCBasicPropertyID.h"
#include "Platform/Utility/TCException.h"

namespace Property {

TCPropertyLink::TCPropertyLink(TCBasicPropertyID& From, TCBasicPropertyID const& Parent) {
  if (!From.m_Parent.IsNull())
    throw TCException("../CommonProperties/TCPropertyLink", __LINE__,
                      "From.m_Parent.IsNull()==true")
        .Format("Property %s do allready have a parent", From.Viewname(false).c_str());
  From.m_Parent = Parent.get_Number();
}

TCPropertyLink::~TCPropertyLink() = default;

}  // namespace Property
