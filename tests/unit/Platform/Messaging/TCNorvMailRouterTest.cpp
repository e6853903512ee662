// SPDX-License-Identifier: MIT
// Where a router can listen, and what it says when it can not.
#include "Platform/Messaging/TCNorvMailRouter.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <utility>

#include "MessagingFixture.h"
#include "Platform/Utility/TCFileDescriptor.h"
#include "tests/support/UnixSocket.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

using MailRouter = TMessagingFixture;

constexpr char kAddressSource[] = "../Platform/Messaging/Wire/SocketName";

void ExpectCannotListen(std::string const& Address, std::string const& Message,
                        char const* Source = "../Platform/Messaging/Router/RouterSocket") {
  TCException const Exception = CaughtException([&] { TCNorvMailRouter const Router(Address); });
  EXPECT_EQ(Exception.get_Source(), Source);
  EXPECT_EQ(Exception.get_Message(), Message);
}

bool Exists(std::string const& Path) {
  return access(Path.c_str(), F_OK) == 0;
}

TEST_F(MailRouter, ListensAtTheAddressOfTheEnvironment) {
  TCNorvMailRouter const Router;
  EXPECT_EQ(Router.get_Address(), Address());
  EXPECT_TRUE(Exists(SocketPath()));
}

TEST_F(MailRouter, ListensAtAGivenAddress) {
  TCNorvMailRouter const Router(Address() + "2");
  EXPECT_TRUE(Exists(SocketPath() + "2"));
}

TEST_F(MailRouter, LetsEverybodyConnectAndDecidesAtTheGreeting) {
  TCNorvMailRouter const Router;
  struct stat Status = {};
  ASSERT_EQ(stat(SocketPath().c_str(), &Status), 0);
  EXPECT_EQ(Status.st_mode & 0777U, 0666U);
}

TEST_F(MailRouter, RemovesItsSocket) {
  { TCNorvMailRouter const Router; }
  EXPECT_FALSE(Exists(SocketPath()));
}

TEST_F(MailRouter, ReplacesASocketThatNobodyServes) {
  EXPECT_GE(BindAt(SocketPath()).get(), 0);  // nobody listens, and it is closed at once
  TTestServer Server;
  TTestProxy Proxy;
  EXPECT_TRUE(Proxy.AskNumber(1));
}

TEST_F(MailRouter, LeavesALivingRouterAlone) {
  TTestServer Server;
  ExpectCannotListen(Address(), "cannot listen at " + SocketPath() +
                                    ": a running router serves it; stop that one first or choose "
                                    "another address");
  TTestProxy Proxy;
  EXPECT_TRUE(Proxy.AskNumber(1));
}

// Whoever may read a folder can lock it.
TEST_F(MailRouter, ListensInAFolderThatSomebodyHasLocked) {
  TCFileDescriptor const Folder(open(m_Folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(Folder.get(), LOCK_EX), 0);
  TCNorvMailRouter const Router;
  EXPECT_TRUE(Exists(SocketPath()));
}

TEST_F(MailRouter, LeavesNoLockBehind) {
  TCNorvMailRouter const Router;
  EXPECT_FALSE(Exists(SocketPath() + ".lock"));
}

TEST_F(MailRouter, ListensAlthoughALockWasLeftBehind) {
  TCFileDescriptor const Left(
      open((SocketPath() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  TCNorvMailRouter const Router;
  EXPECT_TRUE(Exists(SocketPath()));
  EXPECT_FALSE(Exists(SocketPath() + ".lock"));
}

TEST_F(MailRouter, DoesNotWaitForALockThatOthersCanTake) {
  std::string const Lock = SocketPath() + ".lock";
  std::string const Refusal =
      "cannot listen at " + SocketPath() + ": " + Lock + " can be locked by others; remove it";
  TCFileDescriptor const File(open(Lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(fchmod(File.get(), 0644), 0);
  ExpectCannotListen(Address(), Refusal);
  if (geteuid() == 0) {
    ASSERT_EQ(fchmod(File.get(), 0600), 0);
    ASSERT_EQ(fchown(File.get(), 12345, 12345), 0);
    ExpectCannotListen(Address(), Refusal);
  }
}

TEST_F(MailRouter, NeedsItsFolder) {
  std::string const Path = m_Folder + "/missing/socket";
  ExpectCannotListen("unix:path=" + Path,
                     "cannot listen at " + Path +
                         ": No such file or directory; the folder must exist and this user must "
                         "be able to write it");
}

TEST_F(MailRouter, NeedsAFolderThatIsOne) {
  std::ofstream(m_Folder + "/file") << "text";
  std::string const Path = m_Folder + "/file/socket";
  ExpectCannotListen("unix:path=" + Path,
                     "cannot listen at " + Path +
                         ": Not a directory; the folder must exist and this user must be able to "
                         "write it");
}

TEST_F(MailRouter, LeavesAFileThatIsNoSocketAlone) {
  std::ofstream(SocketPath()) << "precious";
  ExpectCannotListen(
      Address(), "cannot listen at " + SocketPath() + ": a file that is no socket is in the way");
  std::string Text;
  std::ifstream(SocketPath()) >> Text;
  EXPECT_EQ(Text, "precious");
}

TEST_F(MailRouter, RefusesAPathThatIsTooLong) {
  std::string const Path = m_Folder + "/" + std::string(120, 'x');
  ExpectCannotListen("unix:path=" + Path,
                     "cannot listen at unix:path=" + Path +
                         ": the path is longer than the 107 bytes of a socket's name",
                     kAddressSource);
}

TEST_F(MailRouter, RefusesOtherAddresses) {
  for (std::string const Address : {"tcp:host=localhost", "unix:path=", "unix:abstract=x",
                                    "unix:path=/tmp/a;unix:path=/tmp/b", "unix:path=/tmp/%20"}) {
    ExpectCannotListen(Address,
                       "cannot listen at " + Address + ": the address must be unix:path=FILE",
                       kAddressSource);
  }
}

TEST_F(MailRouter, GivesAMailboxToOneOwner) {
  TTestServer Server;
  TTestService Second(Server.m_Router);
  TCException const Exception = CaughtException([&] { Second.Open(); });
  EXPECT_EQ(Exception.get_Message(), "mailbox @test.mailbox has an owner");
  TTestProxy Proxy;
  EXPECT_TRUE(Proxy.AskNumber(1));
}

TEST_F(MailRouter, ExecutesOnItsThreadAndHandsExceptionsBack) {
  TTestServer Server;
  TTestProxy Proxy;
  ASSERT_TRUE(Proxy.AskNumber(1));  // it runs
  std::thread::id Thread;
  Server.m_Router.Execute([&] {
    Thread = std::this_thread::get_id();
    Server.m_Router.Execute([] {});
  });
  EXPECT_NE(Thread, std::this_thread::get_id());
  TCException const Exception = CaughtException(
      [&] { Server.m_Router.Execute([] { throw TCException("Here", 1).Format("no"); }); });
  EXPECT_EQ(Exception.get_Message(), "no");
}

TEST_F(MailRouter, IsDestroyedWithMessagesWaitingForAnOwner) {
  TTestProxy Proxy;
  {
    TCNorvMailRouter Router;
    std::thread Thread([&] { Router.Run(); });
    ASSERT_TRUE(Proxy.SendNumber(1));
    EXPECT_FALSE(Proxy.AskNumber(2, 20));
    Router.Stop();
    Thread.join();
  }
  TTestServer Server;
  EXPECT_THAT(Server.m_Service.m_Mails.WaitFor(1), ::testing::ElementsAre(1));
}

// Serves a proxy that finds its way to the socket.
TEST_F(MailRouter, ServesAtASocketThatListensAlready) {
  {
    TCNorvMailRouter Router(ListenAt(SocketPath()));
    TTestService Service(Router);
    Service.Open();
    std::thread Thread([&Router] { Router.Run(); });
    TTestProxy Proxy;
    EXPECT_TRUE(Proxy.AskNumber(1));
    Router.Stop();
    Thread.join();
  }
  EXPECT_TRUE(Exists(SocketPath()));
}

TEST_F(MailRouter, LetsNoProgramInheritASocketThatWasHandedOver) {
  TCFileDescriptor Listening = ListenAt(SocketPath());
  int const File = Listening.get();
  fcntl(File, F_SETFD, 0);
  TCNorvMailRouter const Router(std::move(Listening));
  EXPECT_EQ(fcntl(File, F_GETFD), FD_CLOEXEC);
}

TEST_F(MailRouter, SaysWhenASocketThatWasHandedOverIsNone) {
  for (int const Kind : {0, 1, 2, 3}) {
    TCFileDescriptor File = Kind == 0   ? TCFileDescriptor(open("/dev/null", O_RDWR | O_CLOEXEC))
                            : Kind == 1 ? TCFileDescriptor()
                            : Kind == 2 ? BindAt(SocketPath())
                                        : ListenAt(SocketPath() + "2", SOCK_STREAM);
    TCException const Exception =
        CaughtException([&] { TCNorvMailRouter const Router(std::move(File)); });
    EXPECT_EQ(Exception.get_Message(),
              "the socket that was handed over is no listening Unix socket for sequenced packets")
        << Kind;
  }
}

TEST_F(MailRouter, ReadsNothingOfASocketInTheEnvironment) {
  setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
  setenv("LISTEN_FDS", "1", 1);
  TCNorvMailRouter const Router;
  EXPECT_TRUE(Exists(SocketPath()));
}

}  // namespace
