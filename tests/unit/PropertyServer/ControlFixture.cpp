// SPDX-License-Identifier: MIT
// Takes control mails to and from records.
#include "tests/unit/PropertyServer/ControlFixture.h"

#include "Platform/Utility/TCException.h"

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
