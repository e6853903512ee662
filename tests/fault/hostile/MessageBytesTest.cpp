// SPDX-License-Identifier: MIT
// Bytes that lie about themselves: lengths, counts, types, and messages that never end.
#include <ostream>

#include "tests/fault/hostile/HostileFixture.h"
#include "tests/support/RawPeer.h"

namespace {

// Places in a message.
constexpr std::size_t kOrder = 0;
constexpr std::size_t kType = 1;
constexpr std::size_t kBodyLength = 4;
constexpr std::size_t kSerial = 8;
constexpr std::size_t kFieldsLength = 12;

std::string Sound() {
  return RawChange("peer", "taken").Encode();
}

std::string WithByte(std::size_t Place, char Byte) {
  std::string Bytes = Sound();
  Bytes[Place] = Byte;
  return Bytes;
}

std::string WithWord(std::size_t Place, std::uint32_t Word) {
  return Sound().replace(Place, 4, TRawBody().Word(Word).get());
}

// The length in front of a text in the body, or of the records, replaced.
std::string WithLength(std::string const& Former, std::uint32_t Length) {
  std::string Bytes = Sound();
  return Bytes.replace(Bytes.rfind(Former), 4, TRawBody().Word(Length).get());
}

std::string LengthOf(std::string const& Text) {
  return TRawBody().Word(static_cast<std::uint32_t>(Text.size())).get() + Text;
}

TSRawCall WithSignature(std::string const& Signature) {
  TSRawCall Call = RawChange("peer", "taken");
  Call.Signature = Signature;
  return Call;
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
    {"AnUnknownByteOrder", [] { return WithByte(kOrder, 'x'); }},
    {"TheOtherByteOrder", [] { return WithByte(kOrder, 'B'); }},
    {"AnUnknownType", [] { return WithByte(kType, 0); }},
    {"AnAnswerToNothing", [] { return WithByte(kType, 2); }},
    {"NoSerial", [] { return WithWord(kSerial, 0); }},
    {"ABodyOf4GiB", [] { return WithWord(kBodyLength, kMost); }},
    {"AShorterBody", [] { return WithWord(kBodyLength, 20); }},
    {"NoBody", [] { return WithWord(kBodyLength, 0); }},
    {"FieldsOf4GiB", [] { return WithWord(kFieldsLength, kMost); }},
    {"ShorterFields", [] { return WithWord(kFieldsLength, 24); }},
    {"ATextOf4GiB", [] { return WithLength(LengthOf("taken"), kMost); }},
    {"ATextBeyondTheEnd", [] { return WithLength(LengthOf("taken"), 4096); }},
    {"AShorterText", [] { return WithLength(LengthOf("taken"), 2); }},
    {"AnIdentityBeyondTheEnd", [] { return WithLength(LengthOf("peer"), 1000); }},
    {"ATextThatIsNoUTF8", [] { return RawChange("peer", "\xff\xfe").Encode(); }},
    {"ATextWithAZeroByte", [] { return RawChange("peer", std::string("a\0b", 3)).Encode(); }},
    {"FewerTypesThanValues", [] { return WithSignature("stii").Encode(); }},
    {"MoreTypesThanValues", [] { return WithSignature("stiia(uisssb)a(uisssb)").Encode(); }},
    {"OtherTypesThanValues", [] { return WithSignature("stiia(uuuuuu)").Encode(); }},
    {"TypesThatAreNone", [] { return WithSignature("stii(((").Encode(); }},
    {"TypesWithoutEnd", [] { return WithSignature(std::string(255, 'a')).Encode(); }},
    {"APathThatIsNone",
     [] {
       TSRawCall Call = RawChange("peer", "taken");
       Call.Path = "mailbox";
       return Call.Encode();
     }},
    {"AnInterfaceThatIsNone",
     [] {
       TSRawCall Call = RawChange("peer", "taken");
       Call.Interface = ".";
       return Call.Encode();
     }},
    {"DescriptorsThatDoNotCome", [] {
       TSRawCall Call = RawChange("peer", "taken");
       Call.Files = 3;
       return Call.Encode();
     }}};

struct HostileBytesFixture : THostileFixture {
  TRawPeer NewPeer() const {
    TRawPeer Peer(Connect(SocketPath()));
    EXPECT_TRUE(Peer.Greet("peer"));
    return Peer;
  }
  std::string Stored() const { return StartClient()->Ask("get 201 - -"); }
};

using HostileBytes = HostileBytesFixture;

TEST_F(HostileBytes, AreTakenWhenTheyAreSound) {
  StartAll();
  TRawPeer Peer = NewPeer();
  EXPECT_TRUE(Peer.Send(Sound()));
  EXPECT_EQ(m_Reader->Ask("await"), "201 - - " + Hex("taken"));
}

struct LyingBytes : HostileBytesFixture, testing::WithParamInterface<TSLie> {};

TEST_P(LyingBytes, ChangeNothingAndHurtNobody) {
  StartAll();
  {
    TRawPeer Peer = NewPeer();
    EXPECT_TRUE(Peer.Send(GetParam().Make()));
    ExpectServed();
  }
  ExpectServed();
  EXPECT_EQ(Stored(), "-");
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
}

INSTANTIATE_TEST_SUITE_P(With, LyingBytes, testing::ValuesIn(kLies),
                         [](auto const& Info) { return std::string(Info.param.Name); });

TEST_F(HostileBytes, ThatStopInTheMiddleOfAMailHurtNobody) {
  StartAll();
  TRawPeer Silent = NewPeer();
  EXPECT_TRUE(Silent.Send(Sound().substr(0, Sound().size() / 2)));
  {
    TRawPeer Closed(Connect(SocketPath()));
    EXPECT_TRUE(Closed.Greet("closed"));
    EXPECT_TRUE(Closed.Send(RawChange("closed", "taken").Encode().substr(0, Sound().size() - 1)));
  }
  ExpectServed();
  EXPECT_EQ(Stored(), "-");
}

TEST_F(HostileBytes, ThatComeOneByOneAreAMail) {
  StartAll();
  TRawPeer Peer = NewPeer();
  for (char const Byte : Sound()) {
    EXPECT_TRUE(Peer.Send(std::string(1, Byte)));
  }
  EXPECT_EQ(m_Reader->Ask("await"), "201 - - " + Hex("taken"));
}

TEST_F(HostileBytes, ThatAnnounceAHugeMailTakeNoMemory) {
  StartAll();
  ExpectServed();
  long const Before = ServerMemory();
  std::vector<TRawPeer> Peers;
  // A build that checks addresses touches what it allocates.
  constexpr int kPeers = kShare > 1 ? 1 : 50;
  for (int Number = 0; Number < kPeers; ++Number) {
    Peers.emplace_back(Connect(SocketPath()));
    EXPECT_TRUE(Peers.back().Greet(std::to_string(Number)));
    EXPECT_TRUE(Peers.back().Send(WithWord(kBodyLength, 127U << 20U)));
  }
  ExpectServed();
  ExpectNewcomerServed();
  ExpectNoMoreMemory(Before);
}

}  // namespace
