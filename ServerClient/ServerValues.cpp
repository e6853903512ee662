// SPDX-License-Identifier: MIT
// Reads and writes the records of values.
#include "ServerClient/ServerValues.h"

#include <memory>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvPropertyObject.h"

namespace Property {
namespace {

using TCValueMail = TCNorvMailMessage<TCNorvPropertyObject>;

TCValueMail NewMail(PropertyProtocol::TSSignal Signal) {
  return TCValueMail(Norv_PropertyMail, Signal.Type, Signal.Name);
}

void Fill(TCNorvPropertyObject::TCRecord& Record, TSPropertyPlace const& Place) {
  Record.m_ID = Place.Number;
  Record.m_Link.set_AsString(Place.Link);
  Record.m_MAC.set_AsString(Place.MAC);
}

}  // namespace

void ReadValues(TCNorvMessage const& Mail, std::function<void(TSValueRecord const&)> const& Take) {
  TCNorvPropertyObject::TCRecord Record;
  std::shared_ptr<TCNorvMailBody const> const Body = Mail.get_Body(Record);
  for (int Index = 0; Index < Body->get_Count(); ++Index) {
    Record.Decode(Body->get_Record(Index));
    TSValueRecord Value;
    Value.IsWhole = Index == 0 && !Record.m_ID.IsAssigned();
    if (!Record.m_ID.IsAssigned() && !Value.IsWhole) {
      continue;
    }
    Value.Place = {Record.m_ID, Record.m_Link.get_AsString(), Record.m_MAC.get_AsString()};
    if (Record.m_Data.IsAssigned()) {
      Value.Data = Record.m_Data.get_AsString();
    }
    Take(Value);
  }
}

void AskForAll(TCServerConnection& Server, std::function<void(TSValueRecord const&)> const& Take) {
  TCValueMail Mail = NewMail(PropertyProtocol::kRequestAll);
  Mail.CreateRecord()->get_Request().m_Action = PropertyProtocol::kActionAll;
  Server.Ask(Mail);
  ReadValues(Mail, Take);
}

std::optional<std::string> AskForOne(TCServerConnection& Server, TSPropertyPlace const& Place) {
  TCValueMail Mail = NewMail(PropertyProtocol::kRequestOne);
  Fill(Mail.CreateRecord()->get_Record(), Place);
  Server.Ask(Mail);
  if (Mail.RecordCount() != 1 || !Mail.GetMailRecord(0)->get_Record().m_Loaded.get_AsBool()) {
    return std::nullopt;
  }
  return Mail.GetMailRecord(0)->get_Record().m_Data.get_AsString();
}

TSNorvMailContent ChangeMail(std::vector<TSPropertyValue> const& Values) {
  TCNorvPropertyObject::TCRecord Record;
  TCNorvMailBody::TCWriter Writer(Record.get_Signature());
  for (TSPropertyValue const& Value : Values) {
    Fill(Record, Value.Place);
    Record.m_Data.set_AsString(Value.Data);
    Record.m_Loaded.set_AsBool(false);
    Record.Encode(Writer);
  }
  return {Norv_PropertyMail, PropertyProtocol::kChange.Type, PropertyProtocol::kChange.Name,
          Writer.Finish()};
}

}  // namespace Property
