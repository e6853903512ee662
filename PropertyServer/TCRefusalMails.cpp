// SPDX-License-Identifier: MIT
// Puts refusals into the records of control mails.
#include "PropertyServer/TCRefusalMails.h"

#include <cstddef>
#include <string>

namespace Property {
namespace {

TSNorvMailContent Finish(TCControlWriter& Writer) {
  TSNorvMailContent Content = Writer.Finish(PropertyControl::kRefusals.Name);
  Content.SignalType = PropertyControl::kRefusals.Type;
  return Content;
}

}  // namespace

TCRefusalMails::TCRefusalMails(TCConfiguration const& Configuration, TCPropertyValues const& Values,
                               TCPropertyDatabase const& Database)
    : m_Configuration(Configuration), m_Values(Values), m_Database(Database) {}

TSNorvMailContent TCRefusalMails::Tell(TSNorvMailSender const& Sender,
                                       TSRefusal const& Refusal) const {
  TCControlWriter Writer;
  Append(Writer, Sender, Refusal);
  return Finish(Writer);
}

TSNorvMailContent TCRefusalMails::TellAll(TSNorvMailSender const& Sender) const {
  TSRefusals const Refusals = m_Database.ReadRefusals(Sender);
  TCControlWriter Writer;
  if (Refusals.Forgotten != 0) {
    Writer.Begin().m_Mail.set_AsString(std::to_string(Refusals.Forgotten));
    Writer.Append();
  }
  for (TSRefusal const& Refusal : Refusals.Known) {
    Append(Writer, Sender, Refusal);
  }
  return Finish(Writer);
}

// The first record has the reason; further ones of the same mail name further values.
void TCRefusalMails::Append(TCControlWriter& Writer, TSNorvMailSender const& Sender,
                            TSRefusal const& Refusal) const {
  std::size_t Index = 0;
  do {
    TCNorvControlObject::TCRecord& Record = Writer.Begin();
    Record.m_Mail.set_AsString(std::to_string(Refusal.Mail));
    Record.m_Refused.set_AsBool(true);
    if (Index == 0) {
      Record.m_Text.set_AsString(Refusal.Reason);
    }
    if (Index < Refusal.Places.size()) {
      Writer.PutPlace(Refusal.Places[Index]);
      if (Refusal.Compared) {
        PutStanding(Record, Sender, Refusal.Places[Index]);
      }
    }
    Writer.Append();
  } while (++Index < Refusal.Places.size());
}

// As it stands now, which may be newer than what the mail was compared with.
void TCRefusalMails::PutStanding(TCNorvControlObject::TCRecord& Record,
                                 TSNorvMailSender const& Sender,
                                 TCPropertyPlace const& Place) const {
  if (!m_Configuration->MayRead(Sender, std::get<int>(Place))) {
    return;
  }
  std::string const* const Data =
      m_Values.IsOrphan(std::get<int>(Place)) ? nullptr : m_Values.Find(Place);
  Record.m_Held.set_AsBool(Data != nullptr);
  if (Data != nullptr) {
    Record.m_Data.set_AsString(*Data);
  }
}

}  // namespace Property
