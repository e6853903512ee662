// SPDX-License-Identifier: MIT
// property-server --trace: what the command's mails about changes look like to who looks for a
// fault.
#include <gmock/gmock.h>

#include <csignal>

#include "tests/support/WirePeer.h"
#include "tests/tool/ToolFixture.h"

namespace {

using testing::HasSubstr;
using testing::Not;

struct ServerTrace : TToolFixture {
  std::unique_ptr<TProcess> m_Server = StartTracing();

  std::unique_ptr<TProcess> StartTracing() const {
    WriteFile("server.toml", kSecretMotto);
    return StartServer({"--config", File("server.toml"), "--trace"});
  }
  void Run(std::vector<std::string> const& Arguments, std::string const& Input = "") const {
    TRun const Run = Tool(Arguments, Input);
    EXPECT_EQ(Run.m_Exit, 0) << Run;
  }
  std::string Traces() const {
    EXPECT_EQ(m_Server->End(SIGTERM), 0);
    return m_Server->Rest();
  }
};

TEST_F(ServerTrace, ShowsMailsAboutChanges) {
  Run({"set", "Brightness=61"});
  Run({"undo", "1"});
  std::string const Text = Traces();
  EXPECT_THAT(Text, HasSubstr("] propertycontrol v1 Change 11: {transaction=\"1\" force=0}\n"));
}

TEST_F(ServerTrace, ShowsQuestionsAboutChangesAndTheirAnswers) {
  Run({"set", "Brightness=61"});
  Run({"history"});
  std::string const Text = Traces();
  EXPECT_THAT(Text, HasSubstr("] propertycontrol v1 Request 2: {limit=100}\n"));
  EXPECT_THAT(Text, HasSubstr("] propertycontrol v1 Change 2: {transaction=\"1\" time=\""));
  EXPECT_THAT(Text, HasSubstr(" id=111 link=\"\" mac=\"02:00:00:00:00:01\" data=\"61\" secret=0"));
}

TEST_F(ServerTrace, ShowsNoTextOfASecretInMailsAboutChanges) {
  Run({"set", "Motto=hidden", "Name=shown", "--confirm-within", "1h"});
  Run({"explain", "Motto"});
  Run({"history", "Motto"});
  Run({"reset", "Motto"});
  std::string const Text = Traces();
  EXPECT_THAT(Text, HasSubstr("] propertycontrol v1 Change 10: {seconds=3600} "));
  EXPECT_THAT(Text, HasSubstr("id=113 link=\"\" mac=\"02:00:00:00:00:01\" data=\"shown\"}"));
  EXPECT_THAT(Text, HasSubstr("id=212 link=\"\" mac=\"\" data=\"(secret)\"}"));
  EXPECT_THAT(Text, HasSubstr("] propertycontrol v1 Change 3: {"));  // the explanation
  EXPECT_THAT(Text, Not(HasSubstr("hidden")));
}

TEST_F(ServerTrace, ShowsNoSecretAsPeopleReadItWhereItIsFound) {
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  WriteFile("server.toml", "secret = [112]\n");
  m_Server = StartServer({"--config", File("server.toml"), "--schema", Schema(), "--trace"});
  Run({"set", "Mode=1122"});
  m_Set["PROPERTY_SCHEMA"] = "";  // the server has to find it
  Run({"get", "Mode", "--show-secrets"});
  std::string const Text = Traces();
  EXPECT_THAT(Text, HasSubstr("id=112 link=\"\" mac=\"02:00:00:00:00:01\" data=\"(secret)\""));
  EXPECT_THAT(Text, Not(HasSubstr("By night")));
}

TEST_F(ServerTrace, SpellsOutWhatATerminalWouldObey) {
  Run({"set", "Name", "-", "--confirm-within", "1h"}, "a\nb\x1b[31m\xff");
  EXPECT_THAT(Traces(), HasSubstr("data=\"a\\nb\\x1b[31m\\xff\"}"));
}

TEST_F(ServerTrace, TellsOfAMailThatCannotBeRead) {
  constexpr char kControl[] = "propertycontrol";
  std::string const Record = WireWord(1) + WireText("\x1b[31m");
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  TSWireFrame Request = Peer.NewRequest(kControl, 1);
  Request.Fields = "s";
  EXPECT_THAT(Peer.Call(Request.Add(1, 3, Record)), HasSubstr("records of another layout"));
  TSWireFrame Mail = TWirePeer::NewMail(1, kControl, 1);
  Mail.Fields = "s";
  EXPECT_TRUE(Peer.Send(Mail.Add(2, 4711, Record)));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  std::string const Text = Traces();
  EXPECT_THAT(Text, HasSubstr("] propertycontrol Request 3: "));
  EXPECT_THAT(Text, HasSubstr("] propertycontrol Change 4711: "));
  EXPECT_THAT(Text, Not(HasSubstr("\x1b")));
}

}  // namespace
