// SPDX-License-Identifier: MIT
// The frames in which mails travel: how one is written, and how one that has come is read. See
// docs/protocol.md for the whole of it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/Messaging/TCNorvMailBody.h"
#include "Platform/Messaging/TCNorvMessage.h"

namespace Wire {

/// What proxies and router speak.
constexpr std::int32_t kProtocolVersion = 1;

/// What a frame is for. The numbers are those on the wire; new ones are added at the end.
enum class TEFrame : std::uint8_t {
  eHello = 1,         ///< from a proxy, first of all: who it is
  eWelcome = 2,       ///< the answer to it
  eRefused = 3,       ///< no answer to a request, or to the greeting, and why
  eSubscribe = 4,     ///< from a proxy: the mails of a class, from a place on
  eMails = 5,         ///< from a proxy
  eRequest = 6,       ///< from a proxy
  eAnswer = 7,        ///< to a request
  ePublished = 8,     ///< to a subscriber
  eAcknowledged = 9,  ///< mails need not be kept any longer
};

/// What published mails are for the subscriber that they are sent to. Whose they are otherwise,
/// nobody is told.
enum class TEWhose : std::uint8_t {
  eAnothers = 0,  ///< or the service's own
  eOwn = 1,       ///< a copy of the subscriber's own mail, with the mail's number
  eUpToDate = 2,  ///< brings it up to date, its own mails up to the number included
  eOwnKept = 3,   ///< all own mails up to the number; their content the subscriber keeps itself
};

/// Bytes of a frame's head, and of the head of each mail in it.
constexpr std::size_t kHeadSize = 56;
constexpr std::size_t kMailHeadSize = 12;
/// The bytes that the mails of one frame have at most, heads included. A mail that has more travels
/// in a memory file beside its frame.
constexpr std::size_t kMailsLimit = std::size_t{64} << 10;
/// Mails of one frame, at most.
constexpr std::size_t kMailCountLimit = 256;
/// Longest name of a mailbox or of a class.
constexpr std::size_t kNameLimit = 255;
/// No frame is larger.
constexpr std::size_t kFrameLimit =
    kHeadSize + 2 * kNameLimit + TCNorvMailBody::kMaximumFields + kMailsLimit;
/// Whether the records of a mail fit into a frame.
constexpr bool FitsFrame(std::size_t RecordsSize) {
  return RecordsSize + kMailHeadSize <= kMailsLimit;
}
/// Largest memory file that a router takes from a proxy; a proxy keeps no larger mail either.
constexpr std::size_t kMailLimit = std::size_t{64} << 20;
/// Longest identity of a proxy that is accepted.
constexpr std::size_t kIdentityLimit = 64;

/// The place of a published mail: mails of one epoch are numbered from 1.
struct TSPosition {
  std::uint64_t Epoch = 0;
  std::uint64_t Sequence = 0;
};

/// What stands before the mails of a frame. What a kind of frame has no use for is 0 or empty. The
/// texts point to elsewhere.
struct TSFrameHead {
  TEFrame Kind = TEFrame::eHello;
  TEWhose Whose = TEWhose::eAnothers;
  bool HasFile = false;        ///< the records of the only mail are in the memory file beside it
  std::string_view Mailbox;    ///< its name
  std::string_view Class;      ///< name of the mail class
  std::int32_t Version = 0;    ///< of the mail class; of the protocol, in a greeting
  std::uint64_t Request = 0;   ///< number of the request that is made, answered or refused
  std::uint64_t Number = 0;    ///< of a mail of the proxy
  TSPosition Position;         ///< of the first mail, or up to which something is complete
  std::uint64_t Previous = 0;  ///< sequence of the mail of the class before the first one

  void SetClass(TCNorvMailClassID const& MailClass) {
    Class = MailClass.get_Name();
    Version = MailClass.get_Version();
  }
  bool IsOf(TCNorvMailClassID const& MailClass) const {
    return MailClass.get_Name() == Class && MailClass.get_Version() == Version;
  }
};

/// One mail of a frame. `Records` are empty where they are in a memory file.
struct TSFrameMail {
  int SignalType = 0;
  int SignalName = 0;
  std::string_view Records;
};

/// A frame that is being written, or is ready to be sent.
class TCFrame {
 public:
  TCFrame() = default;
  /// A frame without mails. Throws TCException when a name is too long (RequireNames).
  explicit TCFrame(TSFrameHead const& Head);
  /// A frame with one mail, whose records it holds, or, when they are too large, keeps for a memory
  /// file that is made when the frame is sent.
  TCFrame(TSFrameHead const& Head, TSNorvMailContent const& Content) { Begin(Head, Content); }
  /// Makes it anew, in the memory that it has, as that constructor does.
  void Begin(TSFrameHead const& Head, TSNorvMailContent const& Content);

  /// Whether a further mail of the same class would fit.
  bool HasRoomFor(TSNorvMailContent const& Content) const;
  /// Appends a mail, for which there is room.
  void Append(TSNorvMailContent const& Content);

  std::string_view get_Bytes() const { return m_Bytes; }
  /// The records that belong into a memory file beside the frame; null for none.
  std::shared_ptr<TCNorvMailBody const> const& get_Body() const { return m_Body; }
  /// Bytes that the frame takes of the memory.
  std::size_t get_Size() const;

 private:
  void AppendHead(TSFrameHead const& Head, std::string_view Fields);
  void AppendMail(TSNorvMailContent const& Content, std::string_view Records);

  std::string m_Bytes;
  std::size_t m_Prefix = 0;  // bytes before the first mail
  unsigned m_Count = 0;
  std::shared_ptr<TCNorvMailBody const> m_Body;
};

/// Throws TCException when no frame can carry a mail of the class to the mailbox: a name is empty
/// or too long, or the version is negative.
void RequireNames(std::string const& Mailbox, TCNorvMailClassID const& MailClass);

/// How much one mail may hold.
struct TSMailLimit {
  std::size_t Bytes = TCNorvMailBody::kMaximumSize;  ///< of records
  std::size_t Records = TCNorvMailBody::kAnyCount;
};

/// A frame that has come. Points into the bytes that it was read from.
class TCFrameView {
 public:
  /// Reads the head and finds the mails. Throws TCException when the bytes are no frame; `File` is
  /// the memory file that came with it, or -1, and stays the caller's.
  TCFrameView(std::string_view Bytes, int File);

  TSFrameHead const& get_Head() const { return m_Head; }
  TCNorvMailClassID get_Class() const;
  std::string_view get_Fields() const { return m_Fields; }
  std::size_t get_Count() const { return m_Count; }

  /// The next mail; false after the last. Throws TCException where the mails can not be told apart:
  /// a length is wrong, or they are not as many as announced.
  bool Next(TSFrameMail& Mail);
  /// Reads all of Next(), and begins again: throws what that would.
  void RequireSound() const;
  /// A copy of the records of `Mail`. Throws TCException when they are malformed or more than
  /// `Limit` allows.
  TSNorvMailContent Read(TSFrameMail const& Mail, TCNorvMailClassID const& Class,
                         TSMailLimit const& Limit = TSMailLimit()) const;
  /// The only mail of the frame. Throws TCException when there is another number of them.
  TSNorvMailContent ReadOnly(TCNorvMailClassID const& Class,
                             TSMailLimit const& Limit = TSMailLimit()) const;

 private:
  TSFrameHead m_Head;
  std::string_view m_Fields;
  std::size_t m_Count = 0;
  std::size_t m_Left = 0;   // mails
  std::string_view m_Rest;  // the mails that have not been read
  int m_File = -1;
};

/// A mail of the router itself, of one record of texts: the greeting and the reason of a refusal.
TSNorvMailContent TextMail(std::initializer_list<std::string_view> Texts);
/// Those texts again. Throws TCException when they are not as many as `Count`.
std::vector<std::string> ReadTexts(TCFrameView const& Frame, std::size_t Count);

}  // namespace Wire
