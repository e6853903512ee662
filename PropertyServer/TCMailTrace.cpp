// SPDX-License-Identifier: MIT
// Makes the lines that tell of mails.
#include "PropertyServer/TCMailTrace.h"

#include <cstdio>
#include <string>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/PrintableText.h"
#include "PropertyServer/PropertyMails.h"

namespace Property {

void TCMailTrace::PrintLine(char const* Direction, TSNorvMailSender const& Peer,
                            TSNorvMailContent const& Content,
                            TCServerConfiguration const& Configuration) {
  TCNorvMailMessage<TCNorvPropertyObject> Message(Content);
  bool const HasTexts = !IsPropertyMail(Content, PropertyProtocol::kRequestAll);
  for (int Index = 0; HasTexts && Index < Message.RecordCount(); ++Index) {
    TCNorvPropertyObject::TCRecord& Record = Message.GetMailRecord(Index)->get_Record();
    if (Record.m_Data.IsAssigned() && Configuration.IsSecret(Record.m_ID)) {
      Record.m_Data.set_AsString("(secret)");
    }
  }
  std::string const Line =
      PrintableText(std::string(Direction) + " " + Peer.ProcessName + "[" +
                    std::to_string(Peer.Process) + "] " + Message.get_AsText());
  std::printf("%s\n", Line.c_str());
  std::fflush(stdout);
}

}  // namespace Property
