// SPDX-License-Identifier: MIT
// The queue of a subscriber and its way into and out of the store.
#include "CommonProperties/TCCommonPropertyChangeNotifier.h"

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCException.h"

namespace Property {

TCCommonPropertyChangeNotifier::TCClassGroupLink::~TCClassGroupLink() = default;

TCCommonPropertyChangeNotifier::TCCommonPropertyChangeNotifier() : m_Enabled(false) {}

TCCommonPropertyChangeNotifier::~TCCommonPropertyChangeNotifier() {
  TCPropertyCollection::DelNotifier(this);
}

void TCCommonPropertyChangeNotifier::Enable() {
  TCCriticalSectionLock Lock(m_Lock);
  if (m_Enabled) {
    return;
  }
  TCPropertyCollection::AddNotifier(this);
  m_Enabled = true;
}

void TCCommonPropertyChangeNotifier::Push(TENotificationType Type,
                                          TCCommonPropertyObject const& Object) {
  {
    TCCriticalSectionLock Lock(m_Lock);
    m_Queue.emplace_back(Object, Type);
  }
  // The last access to this object: the hook may destroy it.
  if (!OnPropQueued()) {
    throw TCException("../CommonProperties/TCCommonPropertyChangeNotifier", 122,
                      "OnPropQueued() == true")
        .Format("No method for fetching changes");
  }
}

bool TCCommonPropertyChangeNotifier::OnPropQueued() {
  return false;
}

void TCCommonPropertyChangeNotifier::Insert(TCCommonPropertyObject const& Object,
                                            std::set<TCClassGroupLink>& Links) {
  TCPropertyID const& ID = Object.get_ID();
  Links.emplace(ID.get_classid().get_Value(), Object.get_Link());
  Links.emplace(ID.get_Parent().get_Value(), Object.get_Link());
}

}  // namespace Property
