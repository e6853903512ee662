// SPDX-License-Identifier: MIT
// What the user of --status and --backup is told when there is no answer.
#include "PropertyServer/TCServerClient.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <functional>
#include <utility>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Utility/TCException.h"
#include "PropertyInterface/TCNorvServerObject.h"
#include "tests/unit/Platform/Messaging/MessagingFixture.h"

namespace {

using Property::TCServerClient;
using TServerMail = TCNorvMailMessage<Property::TCNorvServerObject>;

// A server that does with a question what a test says.
class TAskedService : public TCNorvService {
 public:
  using TAnswer = std::function<bool(TSNorvMailContent& Answer)>;

  TAskedService(TCNorvMailRouter& Router, TAnswer Answer)
      : TCNorvService(Router, "@mailrouter.property"), m_Answer(std::move(Answer)) {}
  ~TAskedService() override { Close(); }

 protected:
  void OnMail(TSNorvReceivedMail const& /*Mail*/) override {}
  bool OnRequest(TSNorvMailSender const& /*Sender*/, TSNorvMailContent const& /*Request*/,
                 TSNorvMailContent& Answer) override {
    return m_Answer(Answer);
  }
  bool OnCatchUp(TSNorvMailSender const& /*Sender*/, TCNorvMailClassID const& /*MailClass*/,
                 TSNorvMailContent& /*Content*/) override {
    return false;
  }

 private:
  TAnswer const m_Answer;
};

struct ServerClient : TMessagingFixture {
  // The message that a question ends with.
  std::string Ask() {
    return MessageOf([](TCServerClient& Client) { Client.Status(); });
  }

  std::string MessageOf(std::function<void(TCServerClient&)> const& Question) {
    TCServerClient Client(Address());
    try {
      Question(Client);
    } catch (TCException const& Exception) {
      return Exception.get_Message();
    }
    return "answered";
  }

  // Asks while a server runs that answers so.
  std::string MessageOf(TAskedService::TAnswer const& Answer,
                        std::function<void(TCServerClient&)> const& Question) {
    TTestServer Server;
    std::unique_ptr<TAskedService> Service;
    Server.m_Router.Execute([&] {
      Service = std::make_unique<TAskedService>(Server.m_Router, Answer);
      Service->Open();
    });
    std::string Message = MessageOf(Question);
    Server.m_Router.Execute([&] { Service.reset(); });
    return Message;
  }
};

}  // namespace

TEST_F(ServerClient, SaysThatThereIsNoServer) {
  EXPECT_EQ(Ask(), "no property server at " + Address() +
                       " (No such file or directory); start it or give its address with "
                       "--address");
  EXPECT_THAT(Warnings().WaitFor(0), ::testing::IsEmpty());  // and nobody else says so
}

TEST_F(ServerClient, WaitsOnceForAServerThatIsNotThere) {
  EXPECT_THAT(MessageOf([](TCServerClient& Client) {
                EXPECT_FALSE(Client.IsReached());
                Client.Backup();
              }),
              ::testing::StartsWith("no property server at " + Address()));
  EXPECT_THAT(Warnings().WaitFor(0), ::testing::IsEmpty());
}

TEST_F(ServerClient, SaysWhyTheServerRefusesIt) {
  TTestServer Server;
  Server.m_Router.Execute([&] {
    Server.m_Router.SetAdmission(
        [](TSNorvMailSender const& /*Sender*/) { return std::string("it lacks a right"); });
  });
  EXPECT_EQ(Ask(), "the property server at " + Address() + " refuses: user " +
                       std::to_string(getuid()) + " may not connect: it lacks a right");
}

TEST_F(ServerClient, SaysWhyTheServerRefusesTheQuestion) {
  auto const Refuse = [](TSNorvMailContent& /*Answer*/) -> bool {
    throw TCException("a test", __LINE__).Format("user 7 may not ask about the server");
  };
  EXPECT_EQ(
      MessageOf(Refuse, [](TCServerClient& Client) { Client.Status(); }),
      "the property server at " + Address() + " refuses: user 7 may not ask about the server");
}

TEST_F(ServerClient, ReturnsTheCopyThatTheServerSends) {
  auto const SendCopy = [](TSNorvMailContent& Answer) {
    TServerMail Mail(Property::Norv_ServerMail, eNorvChange, Property::kServerBackup);
    Mail.CreateRecord()->get_Record().m_Value.set_AsString("an image");
    Answer = Mail.get_Content();
    return true;
  };
  std::string Copy;
  EXPECT_EQ(MessageOf(SendCopy, [&Copy](TCServerClient& Client) { Copy = Client.Backup(); }),
            "answered");
  EXPECT_EQ(Copy, "an image");
}

TEST_F(ServerClient, TakesNothingElseForACopy) {
  auto const SendNothing = [](TSNorvMailContent& Answer) {
    TServerMail const Mail(Property::Norv_ServerMail, eNorvChange, Property::kServerBackup);
    Answer = Mail.get_Content();
    return true;
  };
  EXPECT_EQ(MessageOf(SendNothing, [](TCServerClient& Client) { Client.Backup(); }),
            "the property server at " + Address() + " sent no copy");
}

TEST_F(ServerClient, RefusesAnAddressThatCanNeverWork) {
  EXPECT_THROW(TCServerClient("nonsense"), TCException);
}
