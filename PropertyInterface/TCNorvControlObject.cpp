// SPDX-License-Identifier: MIT
// Lays out the records of the mails that look after properties.
#include "PropertyInterface/TCNorvControlObject.h"

namespace Property {

TCNorvMailClassID const Norv_ControlMail(PropertyControl::kClassName,
                                         PropertyControl::kClassVersion);

// The order of registration is the order on the wire: what is new comes last.
TCNorvControlObject::TCRecord::TCRecord() {
  Add(m_Transaction, "transaction", TENorvFieldKind::eString);
  Add(m_Time, "time", TENorvFieldKind::eString);
  Add(m_User, "user", TENorvFieldKind::eString);
  Add(m_Process, "process", TENorvFieldKind::eInteger);
  Add(m_Program, "program", TENorvFieldKind::eString);
  Add(m_ID, "id", TENorvFieldKind::eInteger);
  Add(m_Link, "link", TENorvFieldKind::eRecordID);
  Add(m_MAC, "mac", TENorvFieldKind::eString);
  Add(m_Data, "data", TENorvFieldKind::eString);
  Add(m_Former, "former", TENorvFieldKind::eString);
  Add(m_Secret, "secret", TENorvFieldKind::eBoolean);
  Add(m_Text, "text", TENorvFieldKind::eString);
  Add(m_Seconds, "seconds", TENorvFieldKind::eInteger);
  Add(m_Force, "force", TENorvFieldKind::eBoolean);
  Add(m_Limit, "limit", TENorvFieldKind::eInteger);
  Add(m_Place, "place", TENorvFieldKind::eString);
  Add(m_Last, "last", TENorvFieldKind::eInteger);
  Add(m_Held, "held", TENorvFieldKind::eBoolean);
  Add(m_Removed, "removed", TENorvFieldKind::eBoolean);
  Add(m_Undoes, "undoes", TENorvFieldKind::eString);
  Add(m_Mail, "mail", TENorvFieldKind::eString);
  Add(m_Refused, "refused", TENorvFieldKind::eBoolean);
  Add(m_Path, "path", TENorvFieldKind::eString);
  Add(m_Device, "device", TENorvFieldKind::eString);
  Add(m_Inode, "inode", TENorvFieldKind::eString);
  Add(m_Size, "size", TENorvFieldKind::eString);
  Add(m_Orphan, "orphan", TENorvFieldKind::eBoolean);
}

TCNorvControlObject::TCNorvControlObject() {
  for (PropertyControl::TSSignal const Signal : PropertyControl::kSignals) {
    AssignRecordType(Norv_ControlMail, Signal.Type, Signal.Name, m_Record, -1);
    AssignRecordType(Norv_ControlMail, eNorvChange, Signal.Name, m_Record, -1);  // its answer
  }
}

}  // namespace Property
