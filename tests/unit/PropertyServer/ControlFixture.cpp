// SPDX-License-Identifier: MIT
// Takes control mails to and from records.
#include "tests/unit/PropertyServer/ControlFixture.h"

#include "Platform/Utility/TCException.h"
#include "tests/support/MailSender.h"

TSNorvMailContent Control(Property::PropertyControl::TSSignal Signal,
                          std::vector<TControlFiller> const& Fillers) {
  TCNorvMailBody::TCWriter Writer(TControlRecord().get_Signature());
  for (TControlFiller const& Fill : Fillers) {
    TControlRecord Record;
    Fill(Record);
    Record.Encode(Writer);
  }
  return {Property::Norv_ControlMail, Signal.Type, Signal.Name, Writer.Finish()};
}

TControlFiller Value(int Number, std::string const& Data) {
  return [=](TControlRecord& Record) {
    Record.m_ID = Number;
    Record.m_Data.set_AsString(Data);
  };
}

TControlFiller Place(int Number) {
  return [=](TControlRecord& Record) { Record.m_ID = Number; };
}

TControlFiller Seconds(int Count) {
  return [=](TControlRecord& Record) { Record.m_Seconds = Count; };
}

TControlFiller Transaction(std::string const& Number, bool Force) {
  return [=](TControlRecord& Record) {
    Record.m_Transaction.set_AsString(Number);
    Record.m_Force.set_AsBool(Force);
  };
}

TControlRecords Records(TSNorvMailContent const& Mail) {
  TControlRecords Records;
  for (int Index = 0; Index < Mail.Body->get_Count(); ++Index) {
    Records.emplace_back().Decode(Mail.Body->get_Record(Index));
  }
  return Records;
}

void TControlFixture::Set(std::vector<TPropertyRecord> const& Records) {
  TPropertyProxy Writer;
  Writer.Send(Change(Records));
  ASSERT_TRUE(Writer.IsAcknowledged());
}

TSNorvMailContent TControlFixture::Answer(unsigned User, TSNorvMailContent const& Request) {
  TSNorvMailSender Sender;
  Sender.User = User;
  Sender.Group = User;
  TSNorvMailContent Answer = Request;
  Execute([&] { EXPECT_TRUE(m_Service->m_Server.OnRequest(Sender, Request, Answer)); });
  return Answer;
}

TControlRecords TControlFixture::AskAs(unsigned User, TSSignal Signal,
                                       TControlFiller const& Filler) {
  return Records(Answer(User, Control(Signal, {Filler})));
}

TControlRecords TControlFixture::AskMany(TSSignal Signal,
                                         std::vector<TControlFiller> const& Fillers) {
  return Records(Answer(0, Control(Signal, Fillers)));
}

std::string TControlFixture::Refusal(TSSignal Signal, TControlFiller const& Filler) {
  try {
    Answer(0, Control(Signal, {Filler}));
  } catch (TCException const& Refused) {
    return Refused.get_Message();
  }
  return "answered";
}

std::string TControlFixture::Send(TSSignal Signal, std::vector<TControlFiller> const& Fillers) {
  TPropertyProxy Sender;
  Sender.Send(Control(Signal, Fillers));
  EXPECT_TRUE(Sender.IsAcknowledged());
  return Outcome(Sender);
}

std::string TControlFixture::Outcome(TPropertyProxy& Sender) {
  auto const Content = Sender.AskFor(Control(Property::PropertyControl::kOutcome, {}));
  TControlRecords const Answer = Content ? Records(*Content) : TControlRecords();
  if (Answer.size() != 1) {
    return "no mail";
  }
  if (Answer[0].m_Refused.get_AsBool()) {
    return Answer[0].m_Text.get_AsString();
  }
  return Answer[0].m_Transaction.IsAssigned()
             ? "transaction " + Answer[0].m_Transaction.get_AsString()
             : "nothing";
}

std::string TControlFixture::SendAs(unsigned User, TSSignal Signal,
                                    std::vector<TControlFiller> const& Fillers) {
  TSNorvReceivedMail Mail{{}, 1, Control(Signal, Fillers)};
  Mail.Sender = NewSender("of user " + std::to_string(User), User);
  std::string Result;
  Execute([&] {
    Mail.Number = m_Service->m_Server.get_LastTaken(Mail.Sender) + 1;
    m_Service->m_Server.OnMail(Mail);
    m_Service->m_Server.Commit();
    auto const Last = m_Service->m_Database.FindLastMail(Mail.Sender);
    Result =
        Last.Outcome.Refusal.value_or("transaction " + std::to_string(Last.Outcome.Transaction));
  });
  return Result;
}

std::string TControlFixture::AllTexts() {
  std::string const All = AllValues();
  std::string Texts;
  for (std::size_t Found = All.find("id="); Found != std::string::npos;
       Found = All.find("id=", Found + 1)) {
    Texts += All.substr(Found + 3, All.find(" mac", Found) - Found - 3) + ";";
  }
  return Texts;
}
