// SPDX-License-Identifier: MIT
// Frames: what is written into them, and what is refused when they are read.
#include "Platform/Messaging/Wire/Frame.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <ostream>

#include "MessagingFixture.h"
#include "RouterPeer.h"
#include "tests/unit/CommonProperties/CaughtException.h"

namespace {

using Wire::TCFrame;
using Wire::TCFrameView;
using Wire::TEFrame;
using Wire::TEWhose;
using Wire::TSFrameHead;
using Wire::TSFrameMail;

constexpr std::uint64_t kLarge = 0x0102030405060708U;

TSFrameHead FullHead() {
  TSFrameHead Head;
  Head.Kind = TEFrame::ePublished;
  Head.Whose = TEWhose::eUpToDate;
  Head.Mailbox = "mailbox";
  Head.Class = "class";
  Head.Version = 0x11223344;
  Head.Request = kLarge + 1;
  Head.Number = kLarge + 2;
  Head.Position = {kLarge + 3, kLarge + 4};
  Head.Previous = kLarge + 5;
  return Head;
}

// The same, as bytes.
TSWireFrame FullFrame() {
  TSWireFrame Frame;
  Frame.Kind = WireKind::kPublished;
  Frame.Whose = WireWhose::kUpToDate;
  Frame.Mailbox = "mailbox";
  Frame.Class = "class";
  Frame.Version = 0x11223344;
  Frame.Request = kLarge + 1;
  Frame.Number = kLarge + 2;
  Frame.Epoch = kLarge + 3;
  Frame.Sequence = kLarge + 4;
  Frame.Previous = kLarge + 5;
  return Frame;
}

void ExpectFull(TSFrameHead const& Head) {
  TSFrameHead const Full = FullHead();
  EXPECT_EQ(Head.Kind, Full.Kind);
  EXPECT_EQ(Head.Whose, Full.Whose);
  EXPECT_EQ(Head.Mailbox, Full.Mailbox);
  EXPECT_EQ(Head.Class, Full.Class);
  EXPECT_EQ(Head.Version, Full.Version);
  EXPECT_EQ(Head.Request, Full.Request);
  EXPECT_EQ(Head.Number, Full.Number);
  EXPECT_EQ(Head.Position.Epoch, Full.Position.Epoch);
  EXPECT_EQ(Head.Position.Sequence, Full.Position.Sequence);
  EXPECT_EQ(Head.Previous, Full.Previous);
}

TSNorvMailContent Content(int SignalType, int SignalName, std::string const& Records,
                          std::string const& Fields = "i") {
  return {TestClass(), SignalType, SignalName, TCNorvMailBody::FromBytes(Fields, Records)};
}

std::string const kRecord = WireWord(1) + WireWord(7);

// A record of a text, of `Size` bytes.
std::string TextOf(std::size_t Size) {
  return WireWord(1) + WireText(std::string(Size - 8, 'x'));
}

// ---- writing ----

TEST(Frame, IsWrittenFieldByField) {
  EXPECT_EQ(TCFrame(FullHead()).get_Bytes(), FullFrame().Encode());
}

TEST(Frame, HoldsTheRecordsOfItsMail) {
  TCFrame const Frame(FullHead(), Content(-2, 3, kRecord + kRecord));
  TSWireFrame Expected = FullFrame();
  Expected.Fields = "i";
  EXPECT_EQ(Frame.get_Bytes(), Expected.Add(-2, 3, kRecord + kRecord).Encode());
  EXPECT_EQ(Frame.get_Body(), nullptr);
}

TEST(Frame, HoldsSeveralMails) {
  TCFrame Frame(FullHead(), Content(2, 3, kRecord));
  Frame.Append(Content(-1, 5, ""));
  Frame.Append(Content(1, 1, kRecord));
  TSWireFrame Expected = FullFrame();
  Expected.Fields = "i";
  EXPECT_EQ(Frame.get_Bytes(),
            Expected.Add(2, 3, kRecord).Add(-1, 5, "").Add(1, 1, kRecord).Encode());
}

TEST(Frame, TakesMailsOfTheSameFields) {
  TCFrame const Frame(FullHead(), Content(2, 3, kRecord));
  EXPECT_TRUE(Frame.HasRoomFor(Content(2, 3, kRecord)));
  EXPECT_FALSE(Frame.HasRoomFor(Content(2, 3, TextOf(10), "s")));
  EXPECT_FALSE(Frame.HasRoomFor(Content(2, 3, "", "")));
}

TEST(Frame, TakesMailsUpToTheirNumber) {
  TCFrame Frame(FullHead(), Content(2, 3, ""));
  for (std::size_t Count = 1; Count < Wire::kMailCountLimit; ++Count) {
    ASSERT_TRUE(Frame.HasRoomFor(Content(2, 3, "", "i"))) << Count;
    Frame.Append(Content(2, 3, "", "i"));
  }
  EXPECT_FALSE(Frame.HasRoomFor(Content(2, 3, "", "i")));
  TCFrameView const View(Frame.get_Bytes(), -1);
  EXPECT_EQ(View.get_Count(), Wire::kMailCountLimit);
  View.RequireSound();
}

TEST(Frame, TakesMailsUpToTheirBytes) {
  std::size_t const Half = Wire::kMailsLimit / 2 - Wire::kMailHeadSize;
  TCFrame Frame(FullHead(), Content(2, 3, TextOf(Half), "s"));
  EXPECT_FALSE(Frame.HasRoomFor(Content(2, 3, TextOf(Half + 1), "s")));
  ASSERT_TRUE(Frame.HasRoomFor(Content(2, 3, TextOf(Half), "s")));
  Frame.Append(Content(2, 3, TextOf(Half), "s"));
  EXPECT_FALSE(Frame.HasRoomFor(Content(2, 3, "", "s")));
  EXPECT_LE(Frame.get_Bytes().size(), Wire::kFrameLimit);
  TCFrameView(Frame.get_Bytes(), -1).RequireSound();
}

TEST(Frame, LeavesLargeRecordsToAMemoryFile) {
  std::size_t const Most = Wire::kMailsLimit - Wire::kMailHeadSize;
  EXPECT_EQ(TCFrame(FullHead(), Content(2, 3, TextOf(Most), "s")).get_Body(), nullptr);
  TSNorvMailContent const Large = Content(2, 3, TextOf(Most + 1), "s");
  TCFrame const Frame(FullHead(), Large);
  EXPECT_EQ(Frame.get_Body(), Large.Body);
  EXPECT_LE(Frame.get_Bytes().size(), Wire::kFrameLimit - Wire::kMailsLimit);
  EXPECT_EQ(Frame.get_Bytes()[WirePlace::kFile], 1);
  EXPECT_FALSE(Frame.HasRoomFor(Content(2, 3, "", "s")));
  EXPECT_GT(Frame.get_Size(), Most);
}

TEST(Frame, HoldsTheLongestNames) {
  std::string const Longest(Wire::kNameLimit, 'x');
  TSFrameHead Head = FullHead();
  Head.Mailbox = Longest;
  Head.Class = Longest;
  TCFrame const Frame(Head, Content(2, 3, "", std::string(TCNorvMailBody::kMaximumFields, 'i')));
  TCFrameView const View(Frame.get_Bytes(), -1);
  EXPECT_EQ(View.get_Head().Mailbox, Longest);
  EXPECT_EQ(View.get_Head().Class, Longest);
  EXPECT_EQ(View.get_Fields().size(), TCNorvMailBody::kMaximumFields);
}

TEST(Frame, RefusesNamesThatAreTooLong) {
  std::string const TooLong(Wire::kNameLimit + 1, 'x');
  TSFrameHead Mailbox = FullHead();
  Mailbox.Mailbox = TooLong;
  TSFrameHead Class = FullHead();
  Class.Class = TooLong;
  for (TSFrameHead const& Head : {Mailbox, Class}) {
    TCException const Exception = CaughtException([&] { TCFrame const Frame(Head); });
    EXPECT_EQ(Exception.get_Source(), "../Platform/Messaging/Wire/Frame");
    EXPECT_EQ(Exception.get_Message(),
              "the name of a mailbox or mail class has 256 bytes, at most 255");
  }
}

TEST(Frame, IsNotForNamesThatNoMailCanHave) {
  auto const Refusal = [](std::string const& Mailbox, TCNorvMailClassID const& Class) {
    return CaughtException([&] { Wire::RequireNames(Mailbox, Class); }).get_Message();
  };
  EXPECT_EQ(Refusal("", TestClass()),
            "the name of a mailbox or mail class has 1 to 255 bytes, not 0");
  EXPECT_EQ(Refusal("mailbox", TCNorvMailClassID("", 1)),
            "the name of a mailbox or mail class has 1 to 255 bytes, not 0");
  EXPECT_EQ(Refusal("mailbox", TCNorvMailClassID(std::string(256, 'x'), 1)),
            "the name of a mailbox or mail class has 1 to 255 bytes, not 256");
  EXPECT_EQ(Refusal("mailbox", TCNorvMailClassID("test", -1)),
            "mail class test cannot have the version -1");
  Wire::RequireNames("mailbox", TestClass());
}

// ---- reading ----

TEST(Frame, IsReadFieldByField) {
  std::string const Bytes = FullFrame().Encode();
  TCFrameView const View(Bytes, -1);
  ExpectFull(View.get_Head());
  EXPECT_FALSE(View.get_Head().HasFile);
  EXPECT_EQ(View.get_Class(), TCNorvMailClassID("class", 0x11223344));
  EXPECT_EQ(View.get_Fields(), "");
  EXPECT_EQ(View.get_Count(), 0U);
  View.RequireSound();
}

TEST(Frame, IsReadMailByMail) {
  TSWireFrame Frame = FullFrame();
  Frame.Fields = "i";
  std::string const Bytes = Frame.Add(2, 3, kRecord).Add(-1, 5, "").Encode();
  TCFrameView View(Bytes, -1);
  View.RequireSound();
  EXPECT_EQ(View.get_Fields(), "i");
  EXPECT_EQ(View.get_Count(), 2U);
  TSFrameMail Mail;
  ASSERT_TRUE(View.Next(Mail));
  TSNorvMailContent const First = View.Read(Mail, TestClass());
  EXPECT_EQ(First.SignalType, 2);
  EXPECT_EQ(First.SignalName, 3);
  EXPECT_EQ(First.Body->get_Bytes(), kRecord);
  ASSERT_TRUE(View.Next(Mail));
  EXPECT_EQ(Mail.SignalType, -1);
  EXPECT_EQ(Mail.SignalName, 5);
  EXPECT_EQ(View.Read(Mail, TestClass()).Body->get_Count(), 0);
  EXPECT_FALSE(View.Next(Mail));
}

TEST(Frame, IsReadWithTheRecordsOfItsMemoryFile) {
  TCFrame const Frame(FullHead(), Content(2, 3, TextOf(Wire::kMailsLimit), "s"));
  ASSERT_TRUE(Frame.get_Body());
  TCFileDescriptor const File(Frame.get_Body()->MakeMemoryFile());
  TCFrameView const View(Frame.get_Bytes(), File.get());
  EXPECT_TRUE(View.get_Head().HasFile);
  TSNorvMailContent const Mail = View.ReadOnly(TestClass());
  EXPECT_EQ(Mail.SignalType, 2);
  EXPECT_EQ(Mail.Body->get_Bytes(), TextOf(Wire::kMailsLimit));
  EXPECT_EQ(CaughtException([&] {
              static_cast<void>(View.ReadOnly(TestClass(), {Wire::kMailsLimit - 1, 1}));
            }).get_Message(),
            "Malformed mail: a memory file of an impossible size");
}

// ---- lies ----

struct TSLie {
  char const* Name;
  std::string (*Make)();
  char const* Reason;
};

void PrintTo(TSLie const& Lie, std::ostream* Stream) {
  *Stream << Lie.Name;
}

TSWireFrame Sound() {
  TSWireFrame Frame = FullFrame();
  Frame.Fields = "i";
  return Frame.Add(2, 3, kRecord);
}

std::string WithByte(std::size_t Place, char Byte) {
  std::string Bytes = Sound().Encode();
  Bytes.at(Place) = Byte;
  return Bytes;
}

// Where the mail's head says how long its records are.
constexpr std::size_t kSizePlace = WirePlace::kNames + 7 + 5 + 1 + 8;

constexpr char kEndsEarly[] = "Malformed mail: a frame ends early";
constexpr char kUnknownKind[] = "Malformed mail: a frame of an unknown kind";
constexpr char kNoFile[] = "Malformed mail: a memory file is missing, or is not announced";

TSLie const kLies[] = {
    {"NoBytes", [] { return std::string(); }, kEndsEarly},
    {"AShortHead", [] { return Sound().Encode().substr(0, Wire::kHeadSize - 1); }, kEndsEarly},
    {"NoKind", [] { return WithByte(WirePlace::kKind, 0); }, kUnknownKind},
    {"AnUnknownKind", [] { return WithByte(WirePlace::kKind, 10); }, kUnknownKind},
    {"TheHighestKind", [] { return WithByte(WirePlace::kKind, '\xff'); }, kUnknownKind},
    {"AnUnknownOwner", [] { return WithByte(WirePlace::kWhose, 4); }, kUnknownKind},
    {"TheHighestOwner", [] { return WithByte(WirePlace::kWhose, '\xff'); }, kUnknownKind},
    {"SomethingInTheUnusedBytes", [] { return WithByte(WirePlace::kUnused, 1); }, kUnknownKind},
    {"SomethingInTheLastUnusedByte", [] { return WithByte(WirePlace::kUnused + 3, 1); },
     kUnknownKind},
    {"AMissingFile", [] { return WithByte(WirePlace::kFile, 1); }, kNoFile},
    {"TwoMissingFiles", [] { return WithByte(WirePlace::kFile, 2); }, kNoFile},
    {"AMailboxBeyondTheEnd", [] { return WithByte(WirePlace::kMailboxLength, '\xff'); },
     kEndsEarly},
    {"AClassBeyondTheEnd", [] { return WithByte(WirePlace::kClassLength, '\xff'); }, kEndsEarly},
    {"FieldsBeyondTheEnd", [] { return WithByte(WirePlace::kFieldsLength, '\xff'); }, kEndsEarly},
    {"MoreMailsThanThereAre", [] { return WithByte(WirePlace::kCount, 2); }, kEndsEarly},
    {"FewerMailsThanThereAre", [] { return WithByte(WirePlace::kCount, 0); },
     "Malformed mail: bytes after the last mail"},
    {"MoreMailsThanThereMayBe", [] { return WithByte(WirePlace::kCount + 1, 1); },
     "Malformed mail: 257 mails in one frame, at most 256, or one with a memory file"},
    {"AsManyMailsAsCanBeSaid",
     [] {
       std::string Bytes = WithByte(WirePlace::kCount, '\xff');
       Bytes[WirePlace::kCount + 1] = '\xff';
       return Bytes;
     },
     "Malformed mail: 65535 mails in one frame, at most 256, or one with a memory file"},
    {"ByteBehindTheLastMail", [] { return Sound().Encode() + "x"; },
     "Malformed mail: bytes after the last mail"},
    {"HalfAMailsHead", [] { return Sound().Encode().substr(0, kSizePlace + 3); }, kEndsEarly},
    {"HalfItsRecords", [] { return Sound().Encode().substr(0, kSizePlace + 4 + 7); }, kEndsEarly},
    {"RecordsBeyondTheEnd", [] { return WithByte(kSizePlace, 9); }, kEndsEarly},
    {"RecordsOf4GiB", [] { return Sound().Encode().replace(kSizePlace, 4, WireWord(0xffffffffU)); },
     kEndsEarly},
    {"ShorterRecords", [] { return WithByte(kSizePlace, 7); },
     "Malformed mail: bytes after the last mail"},
    {"AFieldOfAnUnknownType", [] { return WithByte(WirePlace::kNames + 7 + 5, 'x'); },
     "Malformed mail: a field of an unknown type"},
    {"AnUnknownAssignedField", [] { return WithByte(kSizePlace + 4, 3); },
     "Malformed mail: an assigned field that the record does not have"},
};

struct LyingFrame : testing::TestWithParam<TSLie> {};

TEST_P(LyingFrame, IsRefused) {
  std::string const Bytes = GetParam().Make();
  TCException const Exception = CaughtException([&] {
    TCFrameView const View(Bytes, -1);
    View.RequireSound();
    static_cast<void>(View.ReadOnly(TestClass()));
  });
  EXPECT_EQ(Exception.get_Message(), GetParam().Reason);
}

INSTANTIATE_TEST_SUITE_P(With, LyingFrame, testing::ValuesIn(kLies),
                         [](auto const& Info) { return std::string(Info.param.Name); });

TEST(Frame, IsReadWhenItIsSound) {
  std::string const Bytes = Sound().Encode();
  EXPECT_EQ(TCFrameView(Bytes, -1).ReadOnly(TestClass()).Body->get_Bytes(), kRecord);
}

TEST(Frame, IsRefusedWithAFileThatItDoesNotAnnounce) {
  std::string const Bytes = Sound().Encode();
  EXPECT_EQ(CaughtException([&] { TCFrameView const View(Bytes, 0); }).get_Message(), kNoFile);
}

TEST(Frame, IsRefusedWithOneFileForSeveralMails) {
  TCFileDescriptor const File(Content(2, 3, kRecord).Body->MakeMemoryFile());
  TSWireFrame Frame = FullFrame();
  Frame.Fields = "i";
  Frame.AddFile(2, 3, File.get()).Add(2, 3, "");
  std::string const Bytes = Frame.Encode();
  EXPECT_EQ(CaughtException([&] { TCFrameView(Bytes, File.get()).RequireSound(); }).get_Message(),
            "Malformed mail: 2 mails in one frame, at most 256, or one with a memory file");
}

TEST(Frame, IsRefusedWithRecordsBesideItsFile) {
  TCFileDescriptor const File(Content(2, 3, kRecord).Body->MakeMemoryFile());
  TSWireFrame Frame = Sound();
  Frame.Files.push_back(File.get());
  std::string const Bytes = Frame.Encode();
  EXPECT_EQ(CaughtException([&] { TCFrameView(Bytes, File.get()).RequireSound(); }).get_Message(),
            "Malformed mail: bytes after the last mail");
}

// Every frame that ends early, wherever it does, is refused or has lost mails.
TEST(Frame, IsNeverReadBeyondItsEnd) {
  std::string const Bytes = Sound().Encode();
  for (std::size_t Length = 0; Length < Bytes.size(); ++Length) {
    std::string const Shorter = Bytes.substr(0, Length);  // of its own memory, which is checked
    EXPECT_EQ(CaughtException([&] { TCFrameView(Shorter, -1).RequireSound(); }).get_Message(),
              kEndsEarly)
        << Length;
  }
}

TEST(Frame, KeepsToTheLimitOfRecords) {
  TSWireFrame Frame = FullFrame();
  Frame.Fields = "i";
  std::string const Bytes = Frame.Add(2, 3, kRecord + kRecord).Encode();
  TCFrameView const View(Bytes, -1);
  EXPECT_EQ(View.ReadOnly(TestClass(), {Wire::kMailLimit, 2}).Body->get_Count(), 2);
  EXPECT_EQ(CaughtException([&] {
              static_cast<void>(View.ReadOnly(TestClass(), {Wire::kMailLimit, 1}));
            }).get_Message(),
            "a mail has more than 1 records, the most that are allowed (mail_records)");
}

// ---- texts of the router ----

TEST(Frame, CarriesTexts) {
  TSFrameHead Head;
  Head.Kind = TEFrame::eRefused;
  TCFrame const Frame(Head, Wire::TextMail({"first", std::string("zero\0byte", 9)}));
  TCFrameView const View(Frame.get_Bytes(), -1);
  EXPECT_EQ(Wire::ReadTexts(View, 2),
            (std::vector<std::string>{"first", std::string("zero\0byte", 9)}));
  for (std::size_t const Count : {1U, 3U}) {
    EXPECT_EQ(CaughtException([&] { Wire::ReadTexts(View, Count); }).get_Message(),
              "Malformed mail: other texts than there are to be");
  }
}

TEST(Frame, WithoutARecordCarriesNoTexts) {
  TSWireFrame Frame = FullFrame();
  Frame.Fields = "s";
  std::string const Bytes = Frame.Add(0, 0, "").Encode();
  EXPECT_EQ(CaughtException([&] { Wire::ReadTexts(TCFrameView(Bytes, -1), 1); }).get_Message(),
            "Malformed mail: other texts than there are to be");
}

}  // namespace
