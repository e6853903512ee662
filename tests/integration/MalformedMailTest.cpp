// SPDX-License-Identifier: MIT
// Malformed mails: refused and logged, acknowledged, and nobody else notices.
#include <gmock/gmock.h>
#include <sys/mman.h>

#include <csignal>
#include <ostream>

#include "tests/integration/ProcessFixture.h"
#include "tests/integration/WirePeer.h"

namespace {

using testing::HasSubstr;

constexpr unsigned kAllFields = 31;  // id, data, link, mac, loaded

// A change of one record.
void AppendChange(sd_bus_message* Mail, unsigned Assigned, char const* Link, char const* MAC) {
  EXPECT_GE(sd_bus_message_append(Mail, "iia(uisssb)", 2, 3, 1, Assigned, 102, "7", Link, MAC, 0),
            0);
}

void AppendSoundChange(sd_bus_message* Mail) {
  AppendChange(Mail, kAllFields, "", "02:00:00:00:00:01");
}

struct TSMalformed {
  char const* Name;
  char const* Interface;
  void (*Append)(sd_bus_message* Mail);
  char const* Reason;
};

void PrintTo(TSMalformed const& Malformed, std::ostream* Stream) {
  *Stream << Malformed.Name;
}

TSMalformed const kMalformed[] = {
    {"AnotherClass", "mailrouter.class.property.v3", AppendSoundChange,
     "property v3 Change 3 is no change of properties"},
    {"AnotherSignal", TWirePeer::kProperty,
     [](sd_bus_message* Mail) {
       sd_bus_message_append(Mail, "iia(uisssb)", 4, 1, 1, kAllFields, 102, "7", "", "", 0);
     },
     "property v2 Event 1 is no change of properties"},
    {"AnotherLayout", TWirePeer::kProperty,
     [](sd_bus_message* Mail) { sd_bus_message_append(Mail, "iia(uis)", 2, 3, 1, 3, 102, "7"); },
     "Malformed mail: records of another layout"},
    {"NoRecords", TWirePeer::kProperty,
     [](sd_bus_message* Mail) { sd_bus_message_append(Mail, "iii", 2, 3, 7); },
     "Malformed mail: no records"},
    {"PackedRecordsThatEndEarly", TWirePeer::kProperty,
     [](sd_bus_message* Mail) {
       sd_bus_message_append(Mail, "iisay", 2, 3, "isssb", 5, 0x1f, 0, 0, 0, 102);
     },
     "Malformed mail: a record ends early"},
    {"ALinkThatIsNoNumber", TWirePeer::kProperty,
     [](sd_bus_message* Mail) { AppendChange(Mail, kAllFields, "seven", ""); },
     "Malformed mail: a link that is no number"},
    {"ADeviceThatIsNoMAC", TWirePeer::kProperty,
     [](sd_bus_message* Mail) { AppendChange(Mail, kAllFields, "", "nowhere"); },
     "Malformed mail: a device that is no MAC address"},
    {"NoNumber", TWirePeer::kProperty,
     [](sd_bus_message* Mail) { AppendChange(Mail, kAllFields - 1, "", ""); },
     "Malformed mail: a record without a property's number"},
    {"AnUnknownField", TWirePeer::kProperty,
     [](sd_bus_message* Mail) { AppendChange(Mail, kAllFields + 32, "", ""); },
     "Malformed mail: an unknown field is assigned"},
    {"AMemoryFileThatIsNotSealed", TWirePeer::kProperty,
     [](sd_bus_message* Mail) {
       TCFileDescriptor const File(memfd_create("mail", MFD_CLOEXEC | MFD_ALLOW_SEALING));
       sd_bus_message_append(Mail, "iih", 2, 3, File.get());
     },
     "Malformed mail: a memory file that is not sealed"},
};

struct MalformedMail : TProcessFixture, testing::WithParamInterface<TSMalformed> {};

TEST_P(MalformedMail, IsRefusedAndAcknowledgedAndTheNextIsTaken) {
  auto const Server = StartServer();
  auto const Client = StartClient();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");

  TCBusMessage const Malformed = Peer.NewMail(1, GetParam().Interface);
  GetParam().Append(Malformed.get());
  EXPECT_TRUE(Peer.Send(Malformed));
  EXPECT_EQ(Peer.HearAcknowledged(), 1U);
  TCBusMessage const Sound = Peer.NewMail(2);
  AppendSoundChange(Sound.get());
  EXPECT_TRUE(Peer.Send(Sound));
  EXPECT_EQ(Peer.HearAcknowledged(), 2U);

  EXPECT_EQ(Client->Ask("await"), "102 - 02:00:00:00:00:01 " + Hex("7"));
  EXPECT_EQ(Server->End(SIGTERM), 0);
  EXPECT_THAT(Server->Errors(), HasSubstr(std::string(" refused: ") + GetParam().Reason));
}

INSTANTIATE_TEST_SUITE_P(With, MalformedMail, testing::ValuesIn(kMalformed),
                         [](auto const& Info) { return std::string(Info.param.Name); });

using MalformedRequest = TProcessFixture;

TEST_F(MalformedRequest, IsRefusedAndOthersAreServed) {
  auto const Server = StartServer();
  TWirePeer Peer(Address());
  EXPECT_EQ(Peer.Greet(), "");
  TCBusMessage const Request = Peer.NewRequest();
  sd_bus_message_append(Request.get(), "iia(ui)", 1, 1, 0);
  EXPECT_EQ(
      Peer.Call(Request),
      "mailrouter.Error.Refused: Malformed mail: a request for all properties has one record");
  EXPECT_EQ(StartClient()->Ask("get 102 - -"), Hex("5"));
}

}  // namespace
