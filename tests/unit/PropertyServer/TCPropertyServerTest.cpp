// SPDX-License-Identifier: MIT
// What the server answers, stores and refuses; a proxy without a store speaks to it.
#include "PropertyServer/TCPropertyServer.h"

#include <gmock/gmock.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <thread>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"
#include "Platform/Utility/SystemLog.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "tests/unit/PropertyServer/DatabaseFixture.h"
#include "tests/unit/PropertyServer/DiskFaults.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TPropertyMail = TCNorvMailMessage<TCNorvPropertyObject>;

constexpr int kPatienceMilliseconds = 60000;
constexpr char kOwn[] = "02:00:00:00:00:01";
constexpr char kOther[] = "02:00:00:00:00:02";

// What was logged; the last test of a process is its only one.
class TLog {
 public:
  void Add(std::string const& Text) {
    std::lock_guard<std::mutex> const Lock(m_Mutex);
    m_Texts.push_back(Text);
    m_Changed.notify_all();
  }
  std::string WaitForFirst() {
    std::unique_lock<std::mutex> Lock(m_Mutex);
    m_Changed.wait_for(Lock, std::chrono::milliseconds(kPatienceMilliseconds),
                       [this] { return !m_Texts.empty(); });
    return m_Texts.empty() ? "" : m_Texts.front();
  }

 private:
  std::mutex m_Mutex;
  std::condition_variable m_Changed;
  std::vector<std::string> m_Texts;
};

TLog& Log() {
  static TLog Instance;
  return Instance;
}

std::vector<std::string> Texts(TCNorvMessage const& Mail) {
  TPropertyMail Typed(Mail.get_MailClassID(), 1, 1);
  Typed.Copy(Mail);
  std::vector<std::string> Result;
  for (int Index = 0; Index < Typed.RecordCount(); ++Index) {
    Result.push_back(Typed.GetMailRecord(Index)->get_Record().get_AsText());
  }
  return Result;
}

class TClient : public TCNorvServiceProxy {
 public:
  ~TClient() override { Close(); }

  static TCNorvServiceName Server() {
    return TCNorvServiceName::MakeLocalProcess("@mailrouter.property", "");
  }
  /// One mail with a record of each text, for the records 1, 2, ...
  void Change(std::vector<std::string> const& Data, std::string const& MAC = kOwn) {
    TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvChange, 3);
    int Link = 0;
    for (std::string const& Text : Data) {
      Mail.CreateRecord()->SetRecord(101, Text, Accessories::TCRecordID(++Link), false, MAC);
    }
    Mail.Send(Server(), this, 0);
  }
  std::vector<std::string> AskAll(int Action) {
    TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvRequest, 1);
    Mail.CreateRecord()->get_Request().m_Action = Action;
    EXPECT_TRUE(SendAndWait(Server(), Mail, kPatienceMilliseconds));
    EXPECT_EQ(Mail.get_SignalType(), eNorvChange);
    EXPECT_EQ(Mail.get_SignalName(), 1);
    return Texts(Mail);
  }
  std::vector<std::string> AskOne(int ID, int Link, std::string const& MAC) {
    TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvRequest, 2);
    Mail.CreateRecord()->RequestProperty(ID, Accessories::TCRecordID(Link), MAC);
    EXPECT_TRUE(SendAndWait(Server(), Mail, kPatienceMilliseconds));
    EXPECT_EQ(Mail.get_SignalType(), eNorvEvent);
    EXPECT_EQ(Mail.get_SignalName(), 2);
    return Texts(Mail);
  }
  bool IsAcknowledged() { return WaitForAcknowledgements(kPatienceMilliseconds); }
};

class PropertyServer : public DatabaseFixture {
 protected:
  PropertyServer() {
    std::string const Address = "unix:path=" + (m_Folder / "socket").string();
    setenv("MAILROUTER_ADDRESS", Address.c_str(), 1);
    setenv("PROPERTY_OWN_MAC", kOwn, 1);
    DiskFaults::Install();
    SetSyslogSink([](int, std::string const& Text) { Log().Add(Text); });
    Start();
  }
  ~PropertyServer() override {
    Stop();
    SetSyslogSink(nullptr);
  }

  void Start() {
    m_Database.emplace(m_Path);
    m_Router.emplace();
    m_Server.emplace(*m_Router, *m_Database, false);
    m_Thread = std::thread([this] { m_Router->Run(); });
  }
  void Stop() {
    m_Router->Stop();
    m_Thread.join();
    m_Server.reset();
    m_Router.reset();
    m_Database.reset();
  }
  // The disk's state belongs to the thread that writes to it.
  void OnServerThread(void (*Function)()) { m_Router->Execute(Function); }

  std::optional<Property::TCPropertyDatabase> m_Database;
  std::optional<TCNorvMailRouter> m_Router;
  std::optional<Property::TCPropertyServer> m_Server;
  std::thread m_Thread;
};

std::string Record(char const* Data, char const* Link, char const* MAC, char const* Loaded) {
  return std::string("id=101 data=\"") + Data + "\" link=\"" + Link + "\" mac=\"" + MAC +
         "\" loaded=" + Loaded;
}

TEST_F(PropertyServer, AnswersAllValuesOrThoseOfTheAskingDevice) {
  TClient Client;
  Client.Change({"own"});
  Client.Change({"other"}, kOther);
  Client.Change({"of none"}, "");
  EXPECT_THAT(Client.AskAll(1),
              ElementsAre(Record("of none", "1", "", "0"), Record("own", "1", kOwn, "0"),
                          Record("other", "1", kOther, "0")));
  EXPECT_THAT(Client.AskAll(0),
              ElementsAre(Record("of none", "1", "", "0"), Record("own", "1", kOwn, "0")));
}

TEST_F(PropertyServer, AnswersOneValueAsLoadedOrNot) {
  TClient Client;
  Client.Change({"held"});
  EXPECT_THAT(Client.AskOne(101, 1, kOwn), ElementsAre(Record("held", "1", kOwn, "1")));
  EXPECT_THAT(Client.AskOne(101, 2, kOwn), ElementsAre(Record("", "2", kOwn, "0")));
}

TEST_F(PropertyServer, KeepsItsValuesWhenItRestarts) {
  TClient Client;
  Client.Change({"one", "two"});
  ASSERT_TRUE(Client.IsAcknowledged());
  Stop();
  EXPECT_THAT(Values(Property::TCPropertyDatabase(m_Path)),
              ElementsAre("101/1/02:00:00:00:00:01=one", "101/2/02:00:00:00:00:01=two"));
  Start();
  EXPECT_EQ(m_Server->get_ValueCount(), 2U);
  EXPECT_EQ(Client.AskAll(1).size(), 2U);
}

TEST_F(PropertyServer, RefusesAMailOfAnotherSignal) {
  TClient Client;
  TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvEvent, 1);
  Mail.CreateRecord()->SetRecord(101, "x", Accessories::TCRecordID(), false, "");
  Mail.Send(TClient::Server(), &Client, 0);
  EXPECT_TRUE(Client.IsAcknowledged());
  EXPECT_THAT(Log().WaitForFirst(), HasSubstr("property v2 Event 1 is no change of properties"));
  EXPECT_THAT(Client.AskAll(1), IsEmpty());
}

TEST_F(PropertyServer, RefusesAMailOfAnotherClass) {
  TClient Client;
  TSNorvMailContent const Content{TCNorvMailClassID("property", 3), eNorvChange, 3,
                                  TCNorvMailBody::Empty()};
  Client.Post(TClient::Server(), Content);
  EXPECT_TRUE(Client.IsAcknowledged());
  EXPECT_THAT(Log().WaitForFirst(), HasSubstr("property v3 Change 3 is no change of properties"));
}

TEST_F(PropertyServer, RefusesRecordsOfAnotherLayout) {
  TClient Client;
  TCNorvMailBody::TCWriter Writer("is");
  Writer.BeginRecord(1);
  Writer.AppendField({true, 'i', 101, {}});
  Writer.AppendField({false, 's', 0, {}});
  Client.Post(TClient::Server(), {Property::Norv_PropertyMail, eNorvChange, 3, Writer.Finish()});
  EXPECT_TRUE(Client.IsAcknowledged());
  EXPECT_THAT(Log().WaitForFirst(), HasSubstr("Malformed mail: records of another layout"));
  EXPECT_THAT(Client.AskAll(1), IsEmpty());
}

TEST_F(PropertyServer, RefusesAWholeMailForADeviceThatIsNone) {
  TClient Client;
  TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvChange, 3);
  Mail.CreateRecord()->SetRecord(101, "good", Accessories::TCRecordID(), false, kOwn);
  Mail.CreateRecord()->SetRecord(101, "bad", Accessories::TCRecordID(), false, "nowhere");
  Mail.Send(TClient::Server(), &Client, 0);
  EXPECT_TRUE(Client.IsAcknowledged());
  EXPECT_THAT(Log().WaitForFirst(), HasSubstr("Malformed mail: a device that is no MAC address"));
  EXPECT_THAT(Client.AskAll(1), IsEmpty());
}

TEST_F(PropertyServer, RefusesALinkThatIsNoNumber) {
  TClient Client;
  TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvChange, 3);
  Mail.CreateRecord()->get_Record().m_ID = 101;
  Mail.GetMailRecord(0)->get_Record().m_Link.set_AsString("seven");
  Mail.Send(TClient::Server(), &Client, 0);
  EXPECT_TRUE(Client.IsAcknowledged());
  EXPECT_THAT(Log().WaitForFirst(), HasSubstr("Malformed mail: a link that is no number"));
}

TEST_F(PropertyServer, RefusesARecordWithoutNumber) {
  TClient Client;
  TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvChange, 3);
  Mail.CreateRecord()->get_Record().m_Data.set_AsString("x");
  Mail.Send(TClient::Server(), &Client, 0);
  EXPECT_TRUE(Client.IsAcknowledged());
  EXPECT_THAT(Log().WaitForFirst(),
              HasSubstr("Malformed mail: a record without a property's number"));
}

TEST_F(PropertyServer, RefusesARequestWithoutItsOneRecord) {
  TClient Client;
  for (int Name : {1, 2, 9}) {
    TPropertyMail Mail(TCNorvPropertyObject::m_MailClassID, eNorvRequest, Name);
    EXPECT_FALSE(Client.SendAndWait(TClient::Server(), Mail, kPatienceMilliseconds));
  }
  EXPECT_THAT(Client.AskAll(1), IsEmpty());
}

TEST_F(PropertyServer, AcknowledgesNothingWhileTheDiskIsFullAndStoresInOrderAfterwards) {
  TClient Client;
  OnServerThread(DiskFaults::FillDisk);
  Client.Change({"first"});
  EXPECT_THAT(Log().WaitForFirst(), HasSubstr("Changes wait until they can be stored"));
  Client.Change({"second"});
  Client.Change({"bad"}, "nowhere");  // refused, but not acknowledged before the mails ahead of it
  EXPECT_THAT(Client.AskAll(1), IsEmpty());
  EXPECT_FALSE(Client.WaitForAcknowledgements(0));
  OnServerThread(DiskFaults::Repair);
  EXPECT_TRUE(Client.IsAcknowledged());
  EXPECT_THAT(Client.AskAll(1), ElementsAre(Record("second", "1", kOwn, "0")));
}

}  // namespace
