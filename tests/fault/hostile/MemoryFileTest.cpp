// SPDX-License-Identifier: MIT
// Descriptors instead of mails: nothing but a sealed and sound memory file is read, and none leaks.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ostream>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/WirePeer.h"

namespace {

constexpr int kAllSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;

// One change, of property 201 to "taken", as the content of a memory file.
std::string SoundContent() {
  return TWirePeer::ChangeRecord(201, "taken");
}

TCFileDescriptor MemoryFile(std::string const& Content, int Seals = kAllSeals) {
  TCFileDescriptor File(memfd_create("mail", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  EXPECT_EQ(write(File.get(), Content.data(), Content.size()),
            static_cast<ssize_t>(Content.size()));
  EXPECT_EQ(fcntl(File.get(), F_ADD_SEALS, Seals), 0);
  return File;
}

TCFileDescriptor WithWord(std::size_t Place, std::uint32_t Word) {
  return MemoryFile(SoundContent().replace(Place, 4, WireWord(Word)));
}

struct TSWrongFile {
  char const* Name;
  TCFileDescriptor (*Make)();
  char const* Reason;
};

void PrintTo(TSWrongFile const& Wrong, std::ostream* Stream) {
  *Stream << Wrong.Name;
}

constexpr char kNotSealed[] = "Malformed mail: a memory file that is not sealed";
constexpr char kImpossibleSize[] = "Malformed mail: a memory file of an impossible size";
constexpr std::uint32_t kMost = 0xffffffffU;

// What no file may be, and what a mail may not say; tests/unit/Platform/Messaging has all cases.
TSWrongFile const kWrong[] = {
    {"ThatIsNotSealed", [] { return MemoryFile(SoundContent(), 0); }, kNotSealed},
    {"ThatIsTooLarge",
     [] {
       TCFileDescriptor File(memfd_create("mail", MFD_CLOEXEC | MFD_ALLOW_SEALING));
       EXPECT_EQ(ftruncate(File.get(), (off_t{64} << 20) + 1), 0);
       EXPECT_EQ(fcntl(File.get(), F_ADD_SEALS, kAllSeals), 0);
       return File;
     },
     kImpossibleSize},
    {"OfTooManyRecords",
     [] {
       std::string Records;
       for (int Record = 0; Record <= 100000; ++Record) {
         Records += TWirePeer::ChangeRecord(201, "");
       }
       return MemoryFile(Records);
     },
     "a mail has more than 100000 records, the most that are allowed (mail_records)"},
    {"WithATextOf4GiB", [] { return WithWord(8, kMost); }, "Malformed mail: a record ends early"}};

TSWireFrame NewMail(std::uint64_t Number, int File) {
  return TWirePeer::NewMail(Number).AddFile(2, 3, File);
}

using HostileMemoryFile = THostileFixture;

TEST_F(HostileMemoryFile, IsTakenWhenItIsSound) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Send(NewMail(1, MemoryFile(SoundContent()).get())));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  EXPECT_EQ(m_Reader->Ask("await"), "201 - - " + Hex("taken"));
}

struct WrongMemoryFile : THostileFixture, testing::WithParamInterface<TSWrongFile> {};

TEST_P(WrongMemoryFile, IsRefusedAndAcknowledgedAndNotKept) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  int const Files = ServerFiles();
  EXPECT_TRUE(Peer.Send(NewMail(1, GetParam().Make().get())));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  ExpectServed();  // the next frame takes the place of the file
  EXPECT_EQ(ServerFiles(), Files);
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), "-");
  EndAndExpectLogged(std::string(" refused: ") + GetParam().Reason);
}

INSTANTIATE_TEST_SUITE_P(Files, WrongMemoryFile, testing::ValuesIn(kWrong),
                         [](auto const& Info) { return std::string(Info.param.Name); });

TEST_F(HostileMemoryFile, ThatIsADeviceEndsTheConnectionAndIsNotKept) {
  StartAll();
  ExpectServed();
  int const Files = ServerFiles();
  TCFileDescriptor const Device(open("/dev/zero", O_RDWR | O_CLOEXEC));
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Send(NewMail(1, Device.get())));
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EXPECT_EQ(ServerFiles(), Files);
  EndAndExpectLogged("a file that can not be taken; its connection is ended");
}

TEST_F(HostileMemoryFile, AmongManyOthersIsNotTakenAndHurtsNobody) {
  StartAll();
  TCFileDescriptor const File = MemoryFile(SoundContent());
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  TSWireFrame Mail = NewMail(1, File.get());
  Mail.Files.resize(250, File.get());
  EXPECT_TRUE(Peer.Send(Mail));
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  ExpectNewcomerServed();
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), "-");
}

TEST_F(HostileMemoryFile, SentWithEveryFrameThatAnnouncesNoneDoesNotUseUpTheServersDescriptors) {
  StartAll();
  ExpectServed();
  int const Files = ServerFiles();
  TCFileDescriptor const File = MemoryFile(SoundContent());
  for (int Number = 0; Number < 100; ++Number) {
    TWirePeer Peer(Address());
    EXPECT_EQ(Peer.Greet(), "");
    std::string const Mail = TWirePeer::NewChange(1, 201, "taken").Encode();
    for (int Frame = 0; Frame < 10; ++Frame) {
      Peer.SendBytes(Mail, std::vector<int>(1U + static_cast<unsigned>(Frame), File.get()));
    }
    EXPECT_TRUE(Peer.HearEnd());
  }
  ExpectServed();
  ExpectNewcomerServed();
  ExpectServed();
  EXPECT_LE(ServerFiles(), Files + 1);  // the newcomer's connection may not have ended yet
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), "-");
}

TEST_F(HostileMemoryFile, SentToAMailboxWithoutOwnerIsKeptInSmallNumbersAndForgottenWithItsSender) {
  constexpr int kOfOne = 64;
  StartAll();
  ExpectServed();
  int const Files = ServerFiles();
  long const Before = ServerMemory();
  TCFileDescriptor const File = MemoryFile(std::string(std::size_t{8} << 20, 'x'));
  {
    TWirePeer Peer(Address());
    EXPECT_EQ(Peer.Greet(), "");
    for (int Number = 0; Number < 1000; ++Number) {
      TSWireFrame Mail = NewMail(1, File.get());
      Mail.Mailbox = "nobody";
      EXPECT_TRUE(Peer.Send(Mail));
    }
    ExpectServed();
    EXPECT_LE(ServerFiles(), Files + kOfOne + 1);
    ExpectNoMoreMemory(Before);
  }
  ExpectServed();
  ExpectServed();
  EXPECT_LE(ServerFiles(), Files);
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

// Each answer is a memory file, and nobody takes it.
TEST_F(HostileMemoryFile, InEachAnswerThatNobodyReadsUsesUpNoDescriptors) {
  StartAll();
  m_Writer->Ask("fill 101 1000 1000");
  m_Writer->Ask("acknowledged");
  ExpectServed();
  int const Files = ServerFiles();
  long const Before = ServerMemory();
  {
    TWirePeer Peer(Address());
    EXPECT_EQ(Peer.Greet(), "");
    while (Peer.Send(Peer.NewRequestForAll()) && Peer.Flush()) {
    }
    ExpectServed();
    EXPECT_LE(ServerFiles(), Files + 1);
    ExpectNoMoreMemory(Before);
  }
  EndAndExpectLogged("does not read its answers; its connection is ended");
}

}  // namespace
