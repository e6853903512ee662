// SPDX-License-Identifier: MIT
// What the sender of a refused mail is told, and nobody else.
#include "PropertyServer/TCRefusalMails.h"

#include <gmock/gmock.h>

#include "tests/support/MailSender.h"
#include "tests/unit/PropertyServer/ControlFixture.h"

namespace {

using Property::TEDurability;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kSmallValues[] = "[limits]\nvalue_bytes = 4\n";

std::string AsText(TSNorvMailContent const& Mail) {
  std::string Text;
  for (TControlRecord const& Record : Records(Mail)) {
    Text += "{" + Record.get_AsText() + "}";
  }
  return Text;
}

// Hears of what was refused of its own mails.
struct TRefusalProxy : TPropertyProxy {
  TRefusalProxy() { ConnectService(Property::Norv_ControlMail, 3, false); }
  ~TRefusalProxy() override { Close(); }

  void OnServiceMail(TCNorvMessage const& Mail) override {
    if (Mail.get_MailClassID() == Property::Norv_ControlMail) {
      EXPECT_EQ(Mail.get_SignalType(), eNorvEvent);
      EXPECT_EQ(Mail.get_SignalName(), 1);
      m_Refusals.Add(AsText(Mail.get_Content()));
    }
  }

  TLog<std::string> m_Refusals;
};

struct RefusalMails : TControlFixture {
  // What a process of that user is told when it subscribes again.
  std::string Remembered(TSNorvMailSender const& Sender) {
    std::string Text;
    Execute([&] {
      TSNorvMailContent Content{Property::Norv_ControlMail, 0, 0, TCNorvMailBody::Empty()};
      EXPECT_TRUE(m_Service->m_Server.OnCatchUp(Sender, Property::Norv_ControlMail, Content));
      Text = AsText(Content);
    });
    return Text;
  }

  // Sends mails as a user that has no group; returns when they are stored.
  TSNorvMailSender SendAs(unsigned User, std::vector<TSNorvMailContent> const& Mails) {
    TSNorvReceivedMail Mail{{}, 0, Mails.front()};
    Mail.Sender = NewSender("of user " + std::to_string(User), User);
    for (TSNorvMailContent const& Content : Mails) {
      Mail.Content = Content;
      ++Mail.Number;
      Execute([&] { m_Service->m_Server.OnMail(Mail); });
    }
    Execute([&] { m_Service->m_Server.Commit(); });
    return Mail.Sender;
  }
};

}  // namespace

TEST_F(RefusalMails, NameTheMailTheValueAndTheReason) {
  Start(kSmallValues);
  TRefusalProxy Writer;
  Writer.Send(Change({{1, "good", "", ""}}));
  Writer.Send(Change({{1, "good", "", ""}, {2, "too large", "3", "00:11:22:33:44:55"}}));
  EXPECT_THAT(
      Writer.m_Refusals.WaitFor(1),
      ElementsAre("{id=2 link=\"3\" mac=\"00:11:22:33:44:55\" text=\"property 2 has 9 bytes, at "
                  "most 4 are allowed (value_bytes)\" mail=\"2\" refused=1}"));
}

TEST_F(RefusalMails, NameNoValueWhereTheWholeMailIsRefused) {
  Start("[limits]\nmail_bytes = 4\n");
  TRefusalProxy Writer;
  Writer.Send(Change({{1, "123", "", ""}, {2, "45", "", ""}}));
  EXPECT_THAT(Writer.m_Refusals.WaitFor(1),
              ElementsAre("{text=\"the values have 5 bytes, at most 4 are allowed in one mail "
                          "(mail_bytes)\" mail=\"1\" refused=1}"));
}

TEST_F(RefusalMails, TellOfAValueMoreThanThereMayBe) {
  Start("[limits]\nvalues = 1\n");
  TRefusalProxy Writer;
  Writer.Send(Change({{1, "a", "", ""}}));
  Writer.Send(Change({{2, "b", "", ""}}));
  EXPECT_THAT(Writer.m_Refusals.WaitFor(1),
              ElementsAre("{text=\"there would be 2 values, at most 1 are allowed (values)\" "
                          "mail=\"2\" refused=1}"));
}

TEST_F(RefusalMails, TellOfAMailThatCanNotBeRead) {
  Start();
  TRefusalProxy Writer;
  Writer.Send(Foreign(2, 3));
  EXPECT_THAT(Writer.m_Refusals.WaitFor(1),
              ElementsAre("{text=\"it can not be read\" mail=\"1\" refused=1}"));
}

TEST_F(RefusalMails, TellOfControlMails) {
  Start();
  TRefusalProxy Writer;
  Writer.Send(Control(Property::PropertyControl::kConfirm, {Transaction("9")}));
  EXPECT_THAT(
      Writer.m_Refusals.WaitFor(1),
      ElementsAre("{text=\"no transaction 9 waits for a confirmation of user 0\" mail=\"1\" "
                  "refused=1}"));
}

TEST_F(RefusalMails, ComeForEachMailInItsOrder) {
  Start(kSmallValues);
  TRefusalProxy Writer;
  for (int Mail = 1; Mail <= 20; ++Mail) {
    Writer.Send(Change({{1, "too large", "", ""}}));
  }
  std::vector<std::string> const Refusals = Writer.m_Refusals.WaitFor(20);
  ASSERT_EQ(Refusals.size(), 20U);
  for (int Mail = 1; Mail <= 20; ++Mail) {
    EXPECT_THAT(Refusals[static_cast<std::size_t>(Mail) - 1],
                HasSubstr("mail=\"" + std::to_string(Mail) + "\" refused=1"));
  }
}

TEST_F(RefusalMails, ReachNobodyElse) {
  Start(kSmallValues);
  TRefusalProxy Other;
  TRefusalProxy Writer;
  Other.Send(Change({{1, "here", "", ""}}));
  ASSERT_TRUE(Other.IsAcknowledged());
  Writer.Send(Change({{1, "too large", "", ""}}));
  ASSERT_EQ(Writer.m_Refusals.WaitFor(1).size(), 1U);
  Other.Send(Change({{5, "too large", "", ""}}));
  EXPECT_THAT(Other.m_Refusals.WaitFor(1),
              ElementsAre("{id=5 link=\"\" mac=\"\" text=\"property 5 has 9 bytes, at most 4 are "
                          "allowed (value_bytes)\" mail=\"2\" refused=1}"));
}

TEST_F(RefusalMails, AreStoredBeforeTheyAreToldAlsoOfARelaxedServer) {
  TPropertyServiceFixture::Start(TEDurability::eRelaxed, kSmallValues);
  TRefusalProxy Writer;
  Writer.Send(Change({{1, "too large", "", ""}}));
  ASSERT_EQ(Writer.m_Refusals.WaitFor(1).size(), 1U);
  TSNorvMailSender Sender;
  Execute([&] { static_cast<TSNorvSenderKey&>(Sender) = m_Service->m_Router.get_Senders().at(0); });
  EXPECT_EQ(Remembered(Sender), Writer.m_Refusals.WaitFor(1).front());
}

TEST_F(RefusalMails, AreToldAgainByTheNextServer) {
  Start(kSmallValues);
  TSNorvMailSender const Sender =
      SendAs(0, {Change({{1, "too large", "", ""}}), Change({{1, "good", "", ""}}),
                 Control(Property::PropertyControl::kConfirm, {Transaction("9")})});
  Stop();
  Start(kSmallValues);
  EXPECT_EQ(Remembered(Sender),
            "{id=1 link=\"\" mac=\"\" text=\"property 1 has 9 bytes, at most 4 are allowed "
            "(value_bytes)\" mail=\"1\" refused=1}{text=\"no transaction 9 waits for a "
            "confirmation of user 0\" mail=\"3\" refused=1}");
}

TEST_F(RefusalMails, SayWhenOthersAreForgotten) {
  Start(kSmallValues);
  TSNorvMailSender const Sender =
      SendAs(0, std::vector<TSNorvMailContent>(102, Change({{1, "too large", "", ""}})));
  std::string const Text = Remembered(Sender);
  EXPECT_EQ(Text.substr(0, Text.find('}') + 1), "{mail=\"2\"}");
}

TEST_F(RefusalMails, TellNothingToWhoseMailsWereAllTaken) {
  Start();
  EXPECT_THAT(Remembered(SendAs(0, {Change({{1, "good", "", ""}})})), IsEmpty());
}
