// SPDX-License-Identifier: MIT
// Servers that are killed while they take changes back.
#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvControlObject.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "tests/integration/ProcessFixture.h"

namespace {

namespace PropertyControl = Property::PropertyControl;
namespace PropertyProtocol = Property::PropertyProtocol;
using Property::TCNorvControlObject;
using TControlMail = TCNorvMailMessage<TCNorvControlObject>;
using TPropertyMail = TCNorvMailMessage<TCNorvPropertyObject>;

constexpr int kPatience = 60000;  // milliseconds

TCNorvServiceName Mailbox() {
  return TCNorvServiceName::MakeLocalProcess(PropertyProtocol::kMailbox, "");
}

TControlMail NewMail(PropertyControl::TSSignal Signal) {
  return TControlMail(Property::Norv_ControlMail, Signal.Type, Signal.Name);
}

struct TakenBack : TProcessFixture {
  TakenBack() { setenv("MAILROUTER_ADDRESS", Address().c_str(), 1); }

  // Sets both properties to `Text`, as one mail.
  static void Set(TCNorvServiceProxy& Proxy, std::string const& Text) {
    TPropertyMail Mail(Norv_PropertyMail, PropertyProtocol::kChange.Type,
                       PropertyProtocol::kChange.Name);
    for (int const Number : {1, 2}) {
      Mail.CreateRecord()->SetRecord(Number, Text, Accessories::TCRecordID(), false, "");
    }
    EXPECT_TRUE(Proxy.Post(Mailbox(), Mail.get_Content()));
  }
  static void SetUnlessConfirmed(TCNorvServiceProxy& Proxy, std::string const& Text, int Seconds) {
    TControlMail Mail = NewMail(PropertyControl::kChange);
    Mail.CreateRecord()->get_Record().m_Seconds = Seconds;
    for (int const Number : {1, 2}) {
      TCNorvControlObject::TCRecord& Record = Mail.CreateRecord()->get_Record();
      Record.m_ID = Number;
      Record.m_Data.set_AsString(Text);
    }
    EXPECT_TRUE(Proxy.Post(Mailbox(), Mail.get_Content()));
  }
  static void Undo(TCNorvServiceProxy& Proxy, std::string const& Transaction) {
    TControlMail Mail = NewMail(PropertyControl::kUndo);
    Mail.CreateRecord()->get_Record().m_Transaction.set_AsString(Transaction);
    EXPECT_TRUE(Proxy.Post(Mailbox(), Mail.get_Content()));
  }
  // The transaction that the last mail has made; its refusal when it has made none.
  static std::string Outcome(TCNorvServiceProxy& Proxy) {
    EXPECT_TRUE(Proxy.WaitForAcknowledgements(kPatience));
    TControlMail Mail = NewMail(PropertyControl::kOutcome);
    EXPECT_TRUE(Proxy.SendAndWait(Mailbox(), Mail, kPatience));
    TCNorvControlObject::TCRecord& Record = Mail.GetMailRecord(0)->get_Record();
    return Record.m_Refused.get_AsBool() ? Record.m_Text.get_AsString()
                                         : Record.m_Transaction.get_AsString();
  }
  static std::string Texts(TCNorvServiceProxy& Proxy) {
    TPropertyMail Mail(Norv_PropertyMail, PropertyProtocol::kRequestAll.Type,
                       PropertyProtocol::kRequestAll.Name);
    Mail.CreateRecord()->get_Request().m_Action = PropertyProtocol::kActionAll;
    EXPECT_TRUE(Proxy.SendAndWait(Mailbox(), Mail, kPatience));
    std::string Texts;
    for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
      Texts += Mail.GetMailRecord(Index)->get_Record().m_Data.get_AsString() + ";";
    }
    return Texts;
  }
  // How many values were changed to take that transaction back.
  static int CountTakenBack(TCNorvServiceProxy& Proxy, std::string const& Transaction) {
    TControlMail Mail = NewMail(PropertyControl::kHistory);
    Mail.CreateRecord()->get_Record().m_Limit = PropertyControl::kMostPageEntries;
    EXPECT_TRUE(Proxy.SendAndWait(Mailbox(), Mail, kPatience));
    int Count = 0;
    for (int Index = 0; Index < Mail.RecordCount(); ++Index) {
      auto const& Record = Mail.GetMailRecord(Index)->get_Record();
      Count += Record.m_Undoes.get_AsString() == Transaction ? 1 : 0;
    }
    return Count;
  }
};

}  // namespace

// The server dies at another moment each time: while it reads, stores or acknowledges.
TEST_F(TakenBack, OnceThoughTheServerIsKilledMeanwhile) {
  auto Server = StartServer();
  TCNorvServiceProxy Proxy;
  Set(Proxy, "former");
  for (int Round = 0; Round < 20; ++Round) {
    Set(Proxy, "changed");
    std::string const Transaction = Outcome(Proxy);
    Undo(Proxy, Transaction);
    Proxy.WaitForAcknowledgements(Round % 5);
    Server->End(SIGKILL);
    Server = StartServer();
    EXPECT_THAT(Outcome(Proxy), testing::MatchesRegex("[0-9]+"));
    EXPECT_EQ(Texts(Proxy), "former;former;");
    EXPECT_EQ(CountTakenBack(Proxy, Transaction), 2) << Round;
  }
}

TEST_F(TakenBack, ByAServerThatWasKilledBeforeTheTimeWasOver) {
  auto Server = StartServer();
  TCNorvServiceProxy Proxy;
  Set(Proxy, "former");
  SetUnlessConfirmed(Proxy, "tried", 2);
  std::string const Transaction = Outcome(Proxy);
  EXPECT_EQ(Texts(Proxy), "tried;tried;");
  while (CountTakenBack(Proxy, Transaction) == 0) {
    Server->End(SIGKILL);
    Server = StartServer();
  }
  EXPECT_EQ(CountTakenBack(Proxy, Transaction), 2);
  EXPECT_EQ(Texts(Proxy), "former;former;");
}
