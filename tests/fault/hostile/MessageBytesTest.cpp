// SPDX-License-Identifier: MIT
// Bytes that lie about themselves: lengths, counts, kinds, and frames that end early.
#include <ostream>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/WirePeer.h"

namespace {

TSWireFrame SoundFrame() {
  return TWirePeer::NewChange(1, 201, "taken");
}

std::string Sound() {
  return SoundFrame().Encode();
}

// Where the mail begins, and its record.
std::size_t MailPlace() {
  return Sound().size() - SoundFrame().Mails.size();
}
std::size_t RecordPlace() {
  return MailPlace() + 12;
}

std::string WithByte(std::size_t Place, unsigned Byte) {
  std::string Bytes = Sound();
  Bytes.at(Place) = static_cast<char>(Byte);
  return Bytes;
}

std::string WithWord(std::size_t Place, std::uint32_t Word) {
  return Sound().replace(Place, 4, WireWord(Word));
}

struct TSLie {
  char const* Name;
  std::string (*Make)();
};

void PrintTo(TSLie const& Lie, std::ostream* Stream) {
  *Stream << Lie.Name;
}

constexpr std::uint32_t kMost = 0xffffffffU;

TSLie const kLies[] = {
    {"NoKind", [] { return WithByte(WirePlace::kKind, 0); }},
    {"AnUnknownKind", [] { return WithByte(WirePlace::kKind, 200); }},
    {"AnAnswerToNothing", [] { return WithByte(WirePlace::kKind, WireKind::kAnswer); }},
    {"AnUnknownOwner", [] { return WithByte(WirePlace::kWhose, 77); }},
    {"AFileThatDoesNotCome", [] { return WithByte(WirePlace::kFile, 1); }},
    {"ManyFilesThatDoNotCome", [] { return WithByte(WirePlace::kFile, 255); }},
    {"SomethingInTheUnusedBytes", [] { return WithWord(WirePlace::kUnused, kMost); }},
    {"AMailboxBeyondTheEnd", [] { return WithByte(WirePlace::kMailboxLength, 255); }},
    {"AShorterMailbox", [] { return WithByte(WirePlace::kMailboxLength, 19); }},
    {"AClassBeyondTheEnd", [] { return WithByte(WirePlace::kClassLength, 255); }},
    {"AShorterClass", [] { return WithByte(WirePlace::kClassLength, 7); }},
    {"FieldsBeyondTheEnd", [] { return WithByte(WirePlace::kFieldsLength, 255); }},
    {"FewerFields", [] { return WithByte(WirePlace::kFieldsLength, 4); }},
    {"NoMails", [] { return WithByte(WirePlace::kCount, 0); }},
    {"MoreMails", [] { return WithByte(WirePlace::kCount, 2); }},
    {"FarMoreMails", [] { return WithByte(WirePlace::kCount + 1, 255); }},
    {"AVersionBelowZero", [] { return WithWord(WirePlace::kVersion, kMost); }},
    {"RecordsOf4GiB", [] { return WithWord(MailPlace() + 8, kMost); }},
    {"ShorterRecords", [] { return WithWord(MailPlace() + 8, 20); }},
    {"NoRecords", [] { return WithWord(MailPlace() + 8, 0); }},
    {"AllFieldsAssigned", [] { return WithWord(RecordPlace(), kMost); }},
    {"ATextOf4GiB", [] { return WithWord(RecordPlace() + 8, kMost); }},
    {"ATextBeyondTheEnd", [] { return WithWord(RecordPlace() + 8, 4096); }},
    {"AShorterText", [] { return WithWord(RecordPlace() + 8, 2); }},
    {"OtherFieldsThanRecords",
     [] {
       TSWireFrame Frame = SoundFrame();
       Frame.Fields = "iiiii";
       return Frame.Encode();
     }},
    {"FieldsThatAreNone",
     [] {
       TSWireFrame Frame = SoundFrame();
       Frame.Fields = "(((((";
       return Frame.Encode();
     }},
    {"MoreFieldsThanThereMayBe",
     [] {
       TSWireFrame Frame = SoundFrame();
       Frame.Fields = std::string(255, 'b');
       return Frame.Encode();
     }},
    {"AByteBehindTheLastMail", [] { return Sound() + "x"; }},
    {"ItselfTwice", [] { return Sound() + Sound(); }},
    {"HalfItsHead", [] { return Sound().substr(0, 28); }},
    {"HalfItsMail", [] { return Sound().substr(0, Sound().size() - 10); }}};

struct HostileBytesFixture : THostileFixture {
  TWirePeer NewPeer(std::string const& Identity = "peer") const {
    TWirePeer Peer(Address());
    EXPECT_EQ(Peer.Greet(Identity), "");
    return Peer;
  }
  std::string Stored() const { return StartClient()->Ask("get 201 - -"); }
};

using HostileBytes = HostileBytesFixture;

TEST_F(HostileBytes, AreTakenWhenTheyAreSound) {
  StartAll();
  TWirePeer Peer = NewPeer();
  EXPECT_TRUE(Peer.SendBytes(Sound()));
  EXPECT_EQ(m_Reader->Ask("await"), "201 - - " + Hex("taken"));
}

struct LyingBytes : HostileBytesFixture, testing::WithParamInterface<TSLie> {};

TEST_P(LyingBytes, ChangeNothingAndHurtNobody) {
  StartAll();
  {
    TWirePeer Peer = NewPeer();
    EXPECT_TRUE(Peer.SendBytes(GetParam().Make()));
    ExpectServed();
  }
  ExpectServed();
  EXPECT_EQ(Stored(), "-");
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

INSTANTIATE_TEST_SUITE_P(With, LyingBytes, testing::ValuesIn(kLies),
                         [](auto const& Info) { return std::string(Info.param.Name); });

TEST_F(HostileBytes, ThatAreLessThanAFrameHurtNobodyWhereverTheyEnd) {
  StartAll();
  for (std::size_t Length = 1; Length < Sound().size(); Length += 9) {
    TWirePeer Peer = NewPeer(std::to_string(Length));
    EXPECT_TRUE(Peer.SendBytes(Sound().substr(0, Length)));
  }
  ExpectServed();
  EXPECT_EQ(Stored(), "-");
}

TEST_F(HostileBytes, ThatComeOneByOneAreNoMail) {
  StartAll();
  TWirePeer Peer = NewPeer();
  for (char const Byte : Sound()) {
    Peer.SendBytes(std::string(1, Byte));
  }
  EXPECT_TRUE(Peer.HearEnd());
  ExpectServed();
  EXPECT_EQ(Stored(), "-");
}

TEST_F(HostileBytes, ThatAnnounceHugeMailsTakeNoMemory) {
  StartAll();
  ExpectServed();
  long const Before = ServerMemory();
  std::vector<TWirePeer> Peers;
  for (int Number = 0; Number < 50; ++Number) {
    Peers.push_back(NewPeer(std::to_string(Number)));
    EXPECT_TRUE(Peers.back().SendBytes(WithWord(MailPlace() + 8, kMost)));
    EXPECT_TRUE(Peers.back().SendBytes(WithWord(RecordPlace() + 8, kMost)));
  }
  ExpectServed();
  ExpectNewcomerServed();
  ExpectNoMoreMemory(Before);
}

}  // namespace
