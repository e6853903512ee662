// SPDX-License-Identifier: MIT
// Owns the records of a mail and moves between their objects and their encoded form.
#include "Platform/Messaging/TCNorvMessage.h"

#include <algorithm>

#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

namespace {

constexpr char kSource[] = "../Platform/Messaging/TCNorvMessage";

void RequireSignature(TCNorvMailBody const& Body, TCNorvRecordObject const& Record) {
  std::string const& Expected = Record.get_Signature();
  if (Body.get_Signature() != Expected) {
    throw TCException(kSource, __LINE__)
        .Format("Malformed mail: records of type (%s) where (%s) is expected",
                Body.get_Signature().c_str(), Expected.c_str());
  }
}

}  // namespace

TCNorvMessage::TCNorvMessage(TCNorvMailClassID const& MailClass, int SignalType, int SignalName)
    : m_MailClass(MailClass), m_SignalType(SignalType), m_SignalName(SignalName) {}

TCNorvMessage::TCNorvMessage(TSNorvMailContent const& Content, TCNorvMailInHand* InHand)
    : m_Records(static_cast<std::size_t>(Content.Body->get_Count()), nullptr),
      m_MailClass(Content.MailClass),
      m_SignalType(Content.SignalType),
      m_SignalName(Content.SignalName),
      m_Body(Content.Body),
      m_InHand(InHand) {}

TCNorvMessage::~TCNorvMessage() {
  ReleaseRecords();
}

void TCNorvMessage::ReleaseRecords() {
  for (TCNorvMailObject* Object : m_Records) {
    delete Object;
  }
  m_Records.clear();
}

void TCNorvMessage::Copy(TCNorvMessage const& Other) {
  SetContent(Other.get_Content());
}

void TCNorvMessage::SetContent(TSNorvMailContent const& Content) {
  RequireLayout(Content);
  std::vector<TCNorvMailObject*> Encoded(static_cast<std::size_t>(Content.Body->get_Count()));
  ReleaseRecords();
  m_Records.swap(Encoded);
  m_MailClass = Content.MailClass;
  m_SignalType = Content.SignalType;
  m_SignalName = Content.SignalName;
  m_Body = Content.Body;
}

void TCNorvMessage::RequireLayout(TSNorvMailContent const& Content) const {
  std::unique_ptr<TCNorvMailObject> const Object = NewRecord();
  if (!Object || Content.Body->get_Count() == 0) {
    return;
  }
  TCNorvRecordObject const* const Record =
      Object->Find(Content.MailClass, Content.SignalType, Content.SignalName);
  if (Record != nullptr) {
    RequireSignature(*Content.Body, *Record);
  }
}

bool TCNorvMessage::SetRecordType(TCNorvMailObject* Object, int Index) {
  if (Object == nullptr || Index < 0 || Index > RecordCount() ||
      Object->Find(m_MailClass, m_SignalType, m_SignalName) == nullptr) {
    return false;
  }
  if (Index == RecordCount()) {
    m_Records.push_back(Object);
  } else {
    TCNorvMailObject*& Place = m_Records[static_cast<std::size_t>(Index)];
    if (Place != Object) {
      delete Place;
      Place = Object;
    }
  }
  return true;
}

bool TCNorvMessage::Send(TCNorvServiceName const& Service, TCNorvServiceProxy const* Proxy,
                         int /*Reserved*/) {
  return Proxy != nullptr && Proxy->Post(Service, get_Content());
}

TCNorvMailObject* TCNorvMessage::GetRecord(int Index) const {
  if (Index < 0 || Index >= static_cast<int>(m_Records.size())) {
    throw TCException(kSource, 221, "Index < (int) m_Records.size()").Format("Index out of bounds");
  }
  TCNorvMailObject*& Place = m_Records[static_cast<std::size_t>(Index)];
  if (Place == nullptr) {
    std::unique_ptr<TCNorvMailObject> Object = NewRecord();
    if (!Object) {
      throw TCException(kSource, __LINE__).Format("The mail has no record class");
    }
    TCNorvRecordObject& Record = BoundRecord(*Object);
    RequireSignature(*m_Body, Record);
    Record.Decode(m_Body->get_Record(Index));
    Place = Object.release();
  }
  return Place;
}

TCNorvRecordObject& TCNorvMessage::BoundRecord(TCNorvMailObject& Object) const {
  TCNorvRecordObject* const Record = Object.Find(m_MailClass, m_SignalType, m_SignalName);
  if (Record == nullptr) {
    throw TCException(kSource, __LINE__)
        .Format("SignalType %s and Signalname %d have no associated records",
                SignalTypename(m_SignalType).c_str(), m_SignalName);
  }
  return *Record;
}

TSNorvMailContent TCNorvMessage::get_Content() const {
  return {m_MailClass, m_SignalType, m_SignalName, EncodeRecords()};
}

std::shared_ptr<TCNorvMailBody const> TCNorvMessage::get_Body(
    TCNorvRecordObject const& Layout) const {
  std::shared_ptr<TCNorvMailBody const> Body = EncodeRecords();
  if (Body->get_Count() > 0) {
    RequireSignature(*Body, Layout);
  }
  return Body;
}

std::shared_ptr<TCNorvMailBody const> TCNorvMessage::EncodeRecords() const {
  auto const First = std::find_if(m_Records.begin(), m_Records.end(),
                                  [](TCNorvMailObject const* Object) { return Object != nullptr; });
  if (First == m_Records.end()) {
    return m_Body ? m_Body : TCNorvMailBody::Empty();
  }
  TCNorvMailBody::TCWriter Writer(BoundRecord(**First).get_Signature());
  for (std::size_t Index = 0; Index < m_Records.size(); ++Index) {
    if (m_Records[Index] != nullptr) {
      BoundRecord(*m_Records[Index]).Encode(Writer);
    } else {
      Writer.AppendRecord(m_Body->get_Record(static_cast<int>(Index)));
    }
  }
  return Writer.Finish();
}

std::string TCNorvMessage::get_AsText() const {
  std::string Text = m_MailClass.get_Name() + " v" + ToString(m_MailClass.get_Version()) + " " +
                     SignalTypename(m_SignalType) + " " + ToString(m_SignalName) + ":";
  for (int Index = 0; Index < RecordCount(); ++Index) {
    Text += " {" + BoundRecord(*GetRecord(Index)).get_AsText() + "}";
  }
  return Text;
}

std::unique_ptr<TCNorvMailObject> TCNorvMessage::NewRecord() const {
  return nullptr;
}

std::string TCNorvMessage::SignalTypename(int SignalType) {
  switch (SignalType) {
    case eNorvRequest:
      return "Request";
    case eNorvChange:
      return "Change";
    case eNorvEvent:
      return "Event";
    default:
      return "Unknown";
  }
}
