// SPDX-License-Identifier: MIT
// Makes the lines that tell of mails.
#include "PropertyServer/TCMailTrace.h"

#include <cstdio>
#include <string>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCNorvControlObject.h"
#include "PropertyServer/PropertyMails.h"

namespace Property {
namespace {

void Hide(TCNorvField& Text) {
  if (Text.IsAssigned()) {
    Text.set_AsString("(secret)");
  }
}

std::string TextOfValues(TSNorvMailContent const& Content,
                         TCServerConfiguration const& Configuration) {
  TCNorvMailMessage<TCNorvPropertyObject> Message(Content);
  bool const HasTexts = !IsPropertyMail(Content, PropertyProtocol::kRequestAll);
  for (int Index = 0; HasTexts && Index < Message.RecordCount(); ++Index) {
    TCNorvPropertyObject::TCRecord& Record = Message.GetMailRecord(Index)->get_Record();
    if (Configuration.IsSecret(Record.m_ID)) {
      Hide(Record.m_Data);
    }
  }
  return Message.get_AsText();
}

std::string TextOfControl(TSNorvMailContent const& Content,
                          TCServerConfiguration const& Configuration) {
  TCNorvMailMessage<TCNorvControlObject> Message(Content);
  bool const IsFound = Content.SignalName == PropertyControl::kFind.Name;
  for (int Index = 0; Index < Message.RecordCount(); ++Index) {
    TCNorvControlObject::TCRecord& Record = Message.GetMailRecord(Index)->get_Record();
    if (Configuration.IsSecret(Record.m_ID)) {
      Hide(Record.m_Data);
      Hide(Record.m_Former);
      if (IsFound && !Record.m_Refused.get_AsBool()) {
        Hide(Record.m_Text);  // the value as people read it
      }
    }
  }
  return Message.get_AsText();
}

// A mail that can not be read is told of as well; it is refused where it is read for its sake.
std::string TextOf(TSNorvMailContent const& Content, TCServerConfiguration const& Configuration) {
  try {
    return Content.MailClass == Norv_ControlMail ? TextOfControl(Content, Configuration)
                                                 : TextOfValues(Content, Configuration);
  } catch (TCException const& Failure) {
    return Content.MailClass.get_Name() + " " + TCNorvMessage::SignalTypename(Content.SignalType) +
           " " + std::to_string(Content.SignalName) + ": " + Failure.get_Message();
  }
}

}  // namespace

void TCMailTrace::PrintLine(char const* Direction, TSNorvMailSender const& Peer,
                            TSNorvMailContent const& Content,
                            TCServerConfiguration const& Configuration) {
  std::string const Line =
      PrintableText(std::string(Direction) + " " + Peer.ProcessName + "[" +
                    std::to_string(Peer.Process) + "] " + TextOf(Content, Configuration));
  std::printf("%s\n", Line.c_str());
  std::fflush(stdout);
}

}  // namespace Property
