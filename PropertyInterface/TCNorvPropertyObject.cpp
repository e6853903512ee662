// SPDX-License-Identifier: MIT
// Lays out the records of the property protocol.
#include "PropertyInterface/TCNorvPropertyObject.h"

#include "PropertyInterface/PropertyProtocol.h"

namespace Property {

// In this order: the second is a copy of the first.
TCNorvMailClassID const Norv_PropertyMail(PropertyProtocol::kClassName,
                                          PropertyProtocol::kClassVersion);
TCNorvMailClassID TCNorvPropertyObject::m_MailClassID = Norv_PropertyMail;

TCNorvPropertyObject::TCRequest::TCRequest() {
  Add(m_Action, "action", TENorvFieldKind::eInteger);
}

TCNorvPropertyObject::TCRequest::~TCRequest() = default;

// The order of registration is the order on the wire, and is not that of the members.
TCNorvPropertyObject::TCRecord::TCRecord() {
  Add(m_ID, "id", TENorvFieldKind::eInteger);
  Add(m_Data, "data", TENorvFieldKind::eString);
  Add(m_Link, "link", TENorvFieldKind::eRecordID);
  Add(m_MAC, "mac", TENorvFieldKind::eString);
  Add(m_Loaded, "loaded", TENorvFieldKind::eBoolean);
}

TCNorvPropertyObject::TCRecord::~TCRecord() = default;

TCNorvPropertyObject::TCNorvPropertyObject() {
  auto const Assign = [this](PropertyProtocol::TSSignal Signal, TCNorvRecordObject& Part) {
    AssignRecordType(m_MailClassID, Signal.Type, Signal.Name, Part, -1);
  };
  Assign(PropertyProtocol::kRequestOne, m_Record);
  Assign(PropertyProtocol::kRequestAll, m_Request);
  Assign(PropertyProtocol::kChange, m_Record);
  Assign(PropertyProtocol::kOneValue, m_Record);
  Assign(PropertyProtocol::kPublishedChange, m_Record);
  Assign(PropertyProtocol::kAllValues, m_Record);
}

TCNorvPropertyObject::~TCNorvPropertyObject() = default;

void TCNorvPropertyObject::SetRecord(int ID, std::string const& Data,
                                     Accessories::TCRecordID const& Link, bool Loaded,
                                     std::string const& MAC) {
  m_Record.m_ID = ID;
  m_Record.m_Data.set_AsString(Data);
  if (!Link.IsNull()) {
    m_Record.m_Link.set_AsString(Link.get_AsString());
  }
  m_Record.m_Loaded.set_AsBool(Loaded);
  m_Record.m_MAC.set_AsString(MAC);
}

void TCNorvPropertyObject::RequestProperty(int ID, Accessories::TCRecordID const& Link,
                                           std::string const& MAC) {
  m_Record.m_ID = ID;
  m_Record.m_Link.set_AsRecordID(Link);
  m_Record.m_MAC.set_AsString(MAC);
}

}  // namespace Property
