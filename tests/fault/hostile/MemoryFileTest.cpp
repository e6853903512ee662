// SPDX-License-Identifier: MIT
// Descriptors instead of mails: nothing but a sealed and sound memory file is read, and none leaks.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <ostream>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/RawPeer.h"
#include "tests/support/WirePeer.h"

namespace {

constexpr int kAllSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;

// One change, of property 201 to "taken", as the content of a memory file.
std::string SoundContent() {
  TRawBody Rest;
  Rest.Word(1).Word(1).Word(5);
  // No field is padded.
  auto const Word = [](std::uint32_t Value) { return TRawBody().Word(Value).get(); };
  return "MAILBODY" + Rest.get() + "isssb" + Word(3) + Word(201) + Word(5) + "taken" + Word(0) +
         Word(0) + std::string(1, '\0');
}

TCFileDescriptor MemoryFile(std::string const& Content, int Seals = kAllSeals) {
  TCFileDescriptor File(memfd_create("mail", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  EXPECT_EQ(write(File.get(), Content.data(), Content.size()),
            static_cast<ssize_t>(Content.size()));
  EXPECT_EQ(fcntl(File.get(), F_ADD_SEALS, Seals), 0);
  return File;
}

TCFileDescriptor WithWord(std::size_t Place, std::uint32_t Word) {
  return MemoryFile(SoundContent().replace(Place, 4, TRawBody().Word(Word).get()));
}

TCFileDescriptor Opened(char const* Path, int Flags) {
  return TCFileDescriptor(open(Path, Flags | O_CLOEXEC));
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
    {"With4GiRecords", [] { return WithWord(12, kMost); },
     "a mail has more than 100000 records, the most that are allowed (mail_records)"},
    {"WithATextOf4GiB", [] { return WithWord(33, kMost); }, "Malformed mail: a record ends early"},
    {"ThatIsADevice", [] { return Opened("/dev/zero", O_RDWR); }, kNotSealed}};

TCBusMessage NewMail(TWirePeer& Peer, std::uint64_t Number, int File) {
  TCBusMessage Mail = Peer.NewMail(Number);
  EXPECT_GE(sd_bus_message_append(Mail.get(), "iih", 2, 3, File), 0);
  return Mail;
}

using HostileMemoryFile = THostileFixture;

TEST_F(HostileMemoryFile, IsTakenWhenItIsSound) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  EXPECT_TRUE(Peer.Send(NewMail(Peer, 1, MemoryFile(SoundContent()).get())));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  EXPECT_EQ(m_Reader->Ask("await"), "201 - - " + Hex("taken"));
}

struct WrongMemoryFile : THostileFixture, testing::WithParamInterface<TSWrongFile> {};

TEST_P(WrongMemoryFile, IsRefusedAndAcknowledgedAndNotKept) {
  StartAll();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  int const Files = ServerFiles();
  EXPECT_TRUE(Peer.Send(NewMail(Peer, 1, GetParam().Make().get())));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  EXPECT_EQ(ServerFiles(), Files);
  ExpectServed();
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), "-");
  EndAndExpectLogged(std::string(" refused: ") + GetParam().Reason);
}

INSTANTIATE_TEST_SUITE_P(Files, WrongMemoryFile, testing::ValuesIn(kWrong),
                         [](auto const& Info) { return std::string(Info.param.Name); });

TEST_F(HostileMemoryFile, AmongManyOthersIsNotTakenAndHurtsNobody) {
  StartAll();
  TCFileDescriptor const File = Opened("/dev/null", O_RDONLY);
  TSRawCall Call = RawChange("peer", "taken");
  Call.Files = 1;
  TRawPeer Peer(Connect(SocketPath()));
  EXPECT_TRUE(Peer.Greet("peer"));
  EXPECT_TRUE(Peer.Send(Call.Encode(), std::vector<int>(250, File.get())));
  ExpectServed();
  ExpectNewcomerServed();
  EXPECT_EQ(StartClient()->Ask("get 201 - -"), "-");
}

TEST_F(HostileMemoryFile, SentWithEveryByteDoesNotUseUpTheServersDescriptors) {
  StartAll();
  int const Files = ServerFiles();
  TCFileDescriptor const File = Opened("/dev/null", O_RDONLY);
  {
    TRawPeer Peer(Connect(SocketPath()));
    EXPECT_TRUE(Peer.Greet("peer"));
    for (char const Byte : RawChange("peer", "taken").Encode().substr(0, 100)) {
      if (!Peer.Send(std::string(1, Byte), std::vector<int>(100, File.get()))) {
        break;
      }
    }
    ExpectServed();
    ExpectNewcomerServed();
  }
  ExpectServed();
  EXPECT_LE(ServerFiles(), Files + 1);  // the newcomer's connection may not have ended yet
}

}  // namespace
