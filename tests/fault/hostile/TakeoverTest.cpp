// SPDX-License-Identifier: MIT
// Other programs in the server's place: they do not get it, and what they put there is theirs.
#include <filesystem>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/UnixSocket.h"
#include "tests/support/WirePeer.h"

namespace {

using HostileTakeover = THostileFixture;

TEST_F(HostileTakeover, ByASecondServerIsRefused) {
  StartAll();
  auto const Second =
      Start({SERVER_PROGRAM, "--address", Address(), "--database", File("second.db")});
  EXPECT_EQ(Second->End(), 1);
  EXPECT_EQ(Second->Errors(), "property-server: cannot listen at " + SocketPath() +
                                  ": a running router serves it; stop that one first or choose "
                                  "another address\n");
  ExpectServed();
  ExpectNewcomerServed();
}

TEST_F(HostileTakeover, ByBindingIsRefused) {
  StartAll();
  EXPECT_EQ(ListenAt(SocketPath()).get(), -1);
  ExpectServed();
  ExpectNewcomerServed();
}

TEST_F(HostileTakeover, OfARemovedSocketLeavesThoseConnectedAndTheDatabaseAlone) {
  StartAll();
  std::filesystem::remove(SocketPath());
  ExpectServed();
  auto const Second = Start(ServerCommand());
  EXPECT_EQ(Second->End(), 1);
  EXPECT_NE(Second->Errors().find(File("values.db")), std::string::npos) << Second->Errors();
  ExpectServed();
}

TEST_F(HostileTakeover, OfARemovedSocketIsNotUndoneAtTheEnd) {
  StartAll();
  std::filesystem::remove(SocketPath());
  TCFileDescriptor const Other = ListenAt(SocketPath());
  EXPECT_GE(Other.get(), 0);
  ExpectServed();
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  EXPECT_TRUE(std::filesystem::exists(SocketPath()));
}

TEST_F(HostileTakeover, OfALivingProcessesIdentityIsRefused) {
  StartAll();
  TWirePeer Owner(Address());
  EXPECT_EQ(Owner.Greet("owner"), "");
  TWirePeer Thief(ConnectAs(SocketPath(), geteuid()));
  EXPECT_EQ(Thief.Greet("owner"), "the identity of another process");
  EXPECT_TRUE(Owner.Send(Owner.NewChange(1, 201, "owned")));
  EXPECT_EQ(Owner.HearAcknowledged(), 1U);
  ExpectServed();
  EndAndExpectLogged(" refused: the identity of another process");
}

}  // namespace
