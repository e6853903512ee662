// SPDX-License-Identifier: MIT
// Asks for the server's figures.
#include "ServerClient/ServerFigures.h"

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "PropertyInterface/TCNorvServerObject.h"

namespace Property {

TCServerFigures AskForFigures(TCServerConnection& Server) {
  TCNorvMailMessage<TCNorvServerObject> Mail(Norv_ServerMail, eNorvRequest, kServerStatus);
  Mail.CreateRecord();
  Server.Ask(Mail);
  TCServerFigures Figures;
  for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
    TCNorvServerObject::TCRecord& Record = Mail.GetMailRecord(Index)->get_Record();
    Figures.emplace_back(Record.m_Name.get_AsString(), Record.m_Value.get_AsString());
  }
  return Figures;
}

}  // namespace Property
