// SPDX-License-Identifier: MIT
// Writes frames, and reads what others have written without believing any of it.
#include "Platform/Messaging/Wire/Frame.h"

#include <algorithm>
#include <utility>

#include "Platform/Utility/LittleEndian.h"
#include "Platform/Utility/TCException.h"

namespace Wire {

namespace {

constexpr char kSource[] = "../Platform/Messaging/Wire/Frame";

// Places in the head.
constexpr std::size_t kKindPlace = 0;
constexpr std::size_t kWhosePlace = 1;
constexpr std::size_t kFilePlace = 2;
constexpr std::size_t kMailboxPlace = 3;  // lengths of the names behind the head
constexpr std::size_t kClassPlace = 4;
constexpr std::size_t kFieldsPlace = 5;
constexpr std::size_t kCountPlace = 6;  // of mails, two bytes
constexpr std::size_t kVersionPlace = 8;
constexpr std::size_t kUnusedPlace = 12;
constexpr std::size_t kRequestPlace = 16;
constexpr std::size_t kNumberPlace = 24;
constexpr std::size_t kEpochPlace = 32;
constexpr std::size_t kPreviousPlace = 40;
constexpr std::size_t kSequencePlace = 48;

[[noreturn]] void ThrowMalformedFrame(int Line, char const* Reason) {
  throw TCException(kSource, Line).Format("Malformed mail: %s", Reason);
}

unsigned Byte(std::string_view Bytes, std::size_t Place) {
  return static_cast<unsigned char>(Bytes[Place]);
}

char LengthOf(std::string_view Name) {
  if (Name.size() > kNameLimit) {
    throw TCException(kSource, __LINE__)
        .Format("the name of a mailbox or mail class has %zu bytes, at most %zu", Name.size(),
                kNameLimit);
  }
  return static_cast<char>(static_cast<unsigned char>(Name.size()));
}

std::string_view TakeFrom(std::string_view& Bytes, std::size_t Length) {
  if (Length > Bytes.size()) {
    ThrowMalformedFrame(__LINE__, "a frame ends early");
  }
  std::string_view const Taken = Bytes.substr(0, Length);
  Bytes.remove_prefix(Length);
  return Taken;
}

}  // namespace

// ---- writing ----

TCFrame::TCFrame(TSFrameHead const& Head) {
  AppendHead(Head, std::string_view());
}

void TCFrame::Begin(TSFrameHead const& Head, TSNorvMailContent const& Content) {
  TCNorvMailBody const& Body = *Content.Body;
  bool const Fits = FitsFrame(Body.get_Size());
  TSFrameHead Written = Head;
  Written.HasFile = !Fits;
  m_Bytes.clear();
  m_Count = 0;
  m_Bytes.reserve(kHeadSize + Head.Mailbox.size() + Head.Class.size() +
                  Body.get_Signature().size() + kMailHeadSize + (Fits ? Body.get_Size() : 0));
  AppendHead(Written, Body.get_Signature());
  m_Body = Fits ? nullptr : Content.Body;
  AppendMail(Content, Fits ? Body.get_Bytes() : std::string_view());
}

void TCFrame::AppendHead(TSFrameHead const& Head, std::string_view Fields) {
  char Bytes[kHeadSize + 3 * kNameLimit];
  std::fill_n(Bytes, kHeadSize, '\0');
  Bytes[kKindPlace] = static_cast<char>(Head.Kind);
  Bytes[kWhosePlace] = static_cast<char>(Head.Whose);
  Bytes[kFilePlace] = Head.HasFile ? '\1' : '\0';
  Bytes[kMailboxPlace] = LengthOf(Head.Mailbox);
  Bytes[kClassPlace] = LengthOf(Head.Class);
  Bytes[kFieldsPlace] = LengthOf(Fields);
  StoreWord(Bytes + kVersionPlace, static_cast<std::uint32_t>(Head.Version));
  StoreLong(Bytes + kRequestPlace, Head.Request);
  StoreLong(Bytes + kNumberPlace, Head.Number);
  StoreLong(Bytes + kEpochPlace, Head.Position.Epoch);
  StoreLong(Bytes + kPreviousPlace, Head.Previous);
  StoreLong(Bytes + kSequencePlace, Head.Position.Sequence);
  char* End = Bytes + kHeadSize;
  for (std::string_view const Text : {Head.Mailbox, Head.Class, Fields}) {
    End = std::copy(Text.begin(), Text.end(), End);
  }
  m_Bytes.append(Bytes, static_cast<std::size_t>(End - Bytes));
  m_Prefix = m_Bytes.size();
}

void TCFrame::AppendMail(TSNorvMailContent const& Content, std::string_view Records) {
  char Bytes[kMailHeadSize];
  char* Place = StoreWord(Bytes, static_cast<std::uint32_t>(Content.SignalType));
  Place = StoreWord(Place, static_cast<std::uint32_t>(Content.SignalName));
  StoreWord(Place, static_cast<std::uint32_t>(Content.Body->get_Size()));
  m_Bytes.append(Bytes, kMailHeadSize);
  m_Bytes.append(Records);
  ++m_Count;
  m_Bytes[kCountPlace] = static_cast<char>(m_Count & 0xffU);
  m_Bytes[kCountPlace + 1] = static_cast<char>(m_Count >> 8U);
}

bool TCFrame::HasRoomFor(TSNorvMailContent const& Content) const {
  std::string_view const Fields(m_Bytes.data() + m_Prefix - Byte(m_Bytes, kFieldsPlace),
                                Byte(m_Bytes, kFieldsPlace));
  return !m_Body && m_Count < kMailCountLimit && Content.Body->get_Signature() == Fields &&
         m_Bytes.size() - m_Prefix + kMailHeadSize + Content.Body->get_Size() <= kMailsLimit;
}

void TCFrame::Append(TSNorvMailContent const& Content) {
  AppendMail(Content, Content.Body->get_Bytes());
}

std::size_t TCFrame::get_Size() const {
  return sizeof(*this) + m_Bytes.capacity() + (m_Body ? m_Body->get_Size() : 0);
}

void RequireNames(std::string const& Mailbox, TCNorvMailClassID const& MailClass) {
  for (std::string const& Name : {Mailbox, MailClass.get_Name()}) {
    if (Name.empty() || Name.size() > kNameLimit) {
      throw TCException(kSource, __LINE__)
          .Format("the name of a mailbox or mail class has 1 to %zu bytes, not %zu", kNameLimit,
                  Name.size());
    }
  }
  if (MailClass.get_Version() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("mail class %s cannot have the version %d", MailClass.get_Name().c_str(),
                MailClass.get_Version());
  }
}

// ---- reading ----

TCFrameView::TCFrameView(std::string_view Bytes, int File) : m_File(File) {
  std::string_view Rest = Bytes;
  std::string_view const Head = TakeFrom(Rest, kHeadSize);
  unsigned const Kind = Byte(Head, kKindPlace);
  unsigned const Whose = Byte(Head, kWhosePlace);
  unsigned const HasFile = Byte(Head, kFilePlace);
  if (Kind < static_cast<unsigned>(TEFrame::eHello) ||
      Kind > static_cast<unsigned>(TEFrame::eAcknowledged) ||
      Whose > static_cast<unsigned>(TEWhose::eOwnKept) || LoadWord(&Head[kUnusedPlace]) != 0) {
    ThrowMalformedFrame(__LINE__, "a frame of an unknown kind");
  }
  if (HasFile != (File >= 0 ? 1U : 0U)) {
    ThrowMalformedFrame(__LINE__, "a memory file is missing, or is not announced");
  }
  m_Head.Kind = static_cast<TEFrame>(Kind);
  m_Head.Whose = static_cast<TEWhose>(Whose);
  m_Head.HasFile = HasFile != 0;
  m_Head.Version = static_cast<std::int32_t>(LoadWord(&Head[kVersionPlace]));
  m_Head.Request = LoadLong(&Head[kRequestPlace]);
  m_Head.Number = LoadLong(&Head[kNumberPlace]);
  m_Head.Position = {LoadLong(&Head[kEpochPlace]), LoadLong(&Head[kSequencePlace])};
  m_Head.Previous = LoadLong(&Head[kPreviousPlace]);
  m_Head.Mailbox = TakeFrom(Rest, Byte(Head, kMailboxPlace));
  m_Head.Class = TakeFrom(Rest, Byte(Head, kClassPlace));
  m_Fields = TakeFrom(Rest, Byte(Head, kFieldsPlace));
  m_Count = Byte(Head, kCountPlace) + (Byte(Head, kCountPlace + 1) << 8U);
  m_Left = m_Count;
  m_Rest = Rest;
}

TCNorvMailClassID TCFrameView::get_Class() const {
  return {std::string(m_Head.Class), m_Head.Version};
}

bool TCFrameView::Next(TSFrameMail& Mail) {
  if (m_Left == 0) {
    if (!m_Rest.empty()) {
      ThrowMalformedFrame(__LINE__, "bytes after the last mail");
    }
    return false;
  }
  --m_Left;
  char const* const Head = TakeFrom(m_Rest, kMailHeadSize).data();
  Mail.SignalType = static_cast<std::int32_t>(LoadWord(Head));
  Mail.SignalName = static_cast<std::int32_t>(LoadWord(Head + kWordSize));
  Mail.Records = TakeFrom(m_Rest, m_Head.HasFile ? 0 : LoadWord(Head + 2 * kWordSize));
  return true;
}

void TCFrameView::RequireSound() const {
  if (m_Count > kMailCountLimit || (m_Head.HasFile && m_Count != 1)) {
    throw TCException(kSource, __LINE__)
        .Format("Malformed mail: %zu mails in one frame, at most %zu, or one with a memory file",
                m_Count, kMailCountLimit);
  }
  TCFrameView Copy = *this;
  TSFrameMail Mail;
  while (Copy.Next(Mail)) {
  }
}

TSNorvMailContent TCFrameView::Read(TSFrameMail const& Mail, TCNorvMailClassID const& Class,
                                    TSMailLimit const& Limit) const {
  return {Class, Mail.SignalType, Mail.SignalName,
          m_Head.HasFile
              ? TCNorvMailBody::FromMemoryFile(m_File, m_Fields, Limit.Bytes, Limit.Records)
              : TCNorvMailBody::FromBytes(m_Fields, Mail.Records, Limit.Records)};
}

TSNorvMailContent TCFrameView::ReadOnly(TCNorvMailClassID const& Class,
                                        TSMailLimit const& Limit) const {
  RequireSound();
  if (m_Count != 1) {
    ThrowMalformedFrame(__LINE__, "not one mail where there is to be one");
  }
  TCFrameView Copy = *this;
  TSFrameMail Mail;
  Copy.Next(Mail);
  return Read(Mail, Class, Limit);
}

// ---- mails of the router itself ----

TSNorvMailContent TextMail(std::initializer_list<std::string_view> Texts) {
  TCNorvMailBody::TCWriter Writer(std::string(Texts.size(), 's'));
  Writer.BeginRecord((1U << Texts.size()) - 1U);
  TSNorvFieldValue Value;
  for (std::string_view const Text : Texts) {
    Value.Text = Text;
    Writer.AppendField(Value);
  }
  return {TCNorvMailClassID("", 0), 0, 0, Writer.Finish()};
}

std::vector<std::string> ReadTexts(TCFrameView const& Frame, std::size_t Count) {
  auto const Body = Frame.ReadOnly(TCNorvMailClassID("", 0), {kMailsLimit, 1}).Body;
  if (Body->get_Signature() != std::string(Count, 's') || Body->get_Count() != 1) {
    ThrowMalformedFrame(__LINE__, "other texts than there are to be");
  }
  TCNorvRecordCursor Cursor(Body->get_Signature(), Body->get_Record(0));
  std::vector<std::string> Texts;
  TSNorvFieldValue Value;
  while (Cursor.Next(Value)) {
    Texts.emplace_back(Value.Text);
  }
  return Texts;
}

}  // namespace Wire
