// SPDX-License-Identifier: MIT
// Lays out the records about the server itself.
#include "PropertyInterface/TCNorvServerObject.h"

#include "Platform/Messaging/TCNorvMessage.h"

namespace Property {

TCNorvMailClassID const Norv_ServerMail("propertyserver", 1);

TCNorvServerObject::TCRecord::TCRecord() {
  Add(m_Name, "name", TENorvFieldKind::eString);
  Add(m_Value, "value", TENorvFieldKind::eString);
}

TCNorvServerObject::TCNorvServerObject() {
  for (TENorvSignalType const Type : {eNorvRequest, eNorvChange}) {
    AssignRecordType(Norv_ServerMail, Type, kServerStatus, m_Record, -1);
    AssignRecordType(Norv_ServerMail, Type, kServerBackup, m_Record, -1);
  }
}

}  // namespace Property
