// SPDX-License-Identifier: MIT
// The wire protocol of mails: names, envelopes and the records in bus messages. See
// docs/protocol.md for the whole of it.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/TCNorvMessage.h"

namespace MailWire {

/// What proxies speak, and what the router takes beside it: without packed records.
constexpr std::uint32_t kProtocolVersion = 2;
constexpr std::uint32_t kTypedVersion = 1;

constexpr char kRouterPath[] = "/mailrouter";
constexpr char kRouterInterface[] = "mailrouter.Router1";
constexpr char kHello[] = "Hello";                // s identity, u version, s device -> u version
constexpr char kSubscribe[] = "Subscribe";        // s class interface, t epoch, t sequence
constexpr char kAcknowledged[] = "Acknowledged";  // signal: t mail number

constexpr char kSend[] = "Send";          // s identity, t number, mail
constexpr char kSendMany[] = "SendMany";  // s identity, t number of the first, u count, mails
constexpr char kRequest[] = "Request";    // s identity, mail -> t epoch, t sequence, t number, mail
constexpr char kPublished[] = "Published";  // signal: t epoch, t previous, t sequence, y whose,
                                            // t number, mail
constexpr char kPublishedOwn[] = "PublishedOwn";  // signal: t epoch, t previous, t sequence,
                                                  // t number

constexpr char kErrorRefused[] = "mailrouter.Error.Refused";
constexpr char kErrorProtocol[] = "mailrouter.Error.Protocol";

/// Records above this size travel as a sealed memory file.
constexpr std::size_t kInlineLimit = std::size_t{64} << 10;
/// Mails that a router takes in one message, and their bytes.
constexpr std::size_t kGroupLimit = 256;
constexpr std::size_t kGroupByteLimit = std::size_t{64} << 10;
/// Largest memory file that a router takes from a proxy; a proxy keeps no larger mail either.
constexpr std::size_t kMailLimit = std::size_t{64} << 20;
/// Longest identity of a proxy that is accepted.
constexpr std::size_t kIdentityLimit = 64;

/// The place of a published mail: mails of one epoch are numbered without gaps from 1.
struct TSPosition {
  std::uint64_t Epoch = 0;
  std::uint64_t Sequence = 0;
};

/// Object path of a mailbox. Throws TCException when its name is too long for one. Good, as the
/// next, until the thread asks for another.
std::string const& MailboxPath(std::string const& Mailbox);
/// Interface of a mail class, and back. The first throws TCException for a name that is too long or
/// a version below 0.
std::string const& ClassInterface(TCNorvMailClassID const& MailClass);
std::optional<TCNorvMailClassID> ParseClassInterface(char const* Interface);

/// What a published mail is for the subscriber that it is sent to. Whose it is otherwise, nobody is
/// told.
enum class TEWhose : std::uint8_t {
  eAnothers = 0,  // or the service's own
  eOwn = 1,       // a copy of the subscriber's own mail, with the mail's number
  eUpToDate = 2   // brings it up to date, its own mails up to the number included
};

/// How the records of a small mail are written: each field as a value of the bus, for every
/// library of it, or all as they are kept, which costs a fraction of it.
enum class TEForm { eTyped, ePacked };
/// The form for a peer that greets, or is greeted, with a version of the protocol.
constexpr TEForm FormOf(std::uint32_t Version) {
  return Version > kTypedVersion ? TEForm::ePacked : TEForm::eTyped;
}

/// Whether the records travel in the message itself: small enough and, as typed values, with texts
/// that are valid there.
bool FitsInline(TCNorvMailBody const& Body, TEForm Form);

/// Appends signal and records: "ii" and "a(u...)" or, packed, "say", or "h" for what does not fit.
/// Throws TCException when the message can not be built.
void AppendMail(sd_bus_message* Message, TSNorvMailContent const& Content, TEForm Form);
/// How much one mail may hold.
struct TSMailLimit {
  std::size_t Bytes = TCNorvMailBody::kMaximumSize;  ///< of records
  std::size_t Records = TCNorvMailBody::kAnyCount;
};
/// Reads what AppendMail wrote, up to `Limit`. Throws TCException on anything else; nothing is
/// believed unchecked.
TSNorvMailContent ReadMail(sd_bus_message* Message, TCNorvMailClassID const& MailClass,
                           TSMailLimit const& Limit = TSMailLimit());

/// One of several mails in a message; `Records`, encoded, are kept elsewhere.
struct TSPackedMail {
  int SignalType;
  int SignalName;
  std::string_view Records;
};

/// Mails of one class in a message. Points into it.
struct TSMailGroup {
  char const* Fields = "";  // letters of all records
  std::vector<TSPackedMail> Mails;
};

/// What a mail takes of a group.
std::size_t PackedSize(TSNorvMailContent const& Content);
/// Appends "say": the letters of the fields, which all the mails have, and the mails one after the
/// other. Throws TCException when the message can not be built.
void AppendMails(sd_bus_message* Message, TSMailGroup const& Group);
/// Reads `Count` mails that AppendMails wrote, but not their records. Throws TCException on
/// anything else: where a length is wrong, no mail can be told from another.
TSMailGroup ReadMails(sd_bus_message* Message, std::size_t Count);
/// The mails in `Bytes`; throws as ReadMails does.
std::vector<TSPackedMail> SplitMails(std::string_view Bytes, std::size_t Count);
/// A copy of one mail of `Group`. Throws TCException when its records are malformed or more than
/// `Records`.
TSNorvMailContent UnpackMail(TSMailGroup const& Group, TSPackedMail const& Mail,
                             TCNorvMailClassID const& MailClass,
                             std::size_t Records = TCNorvMailBody::kAnyCount);

/// Turns a negative result of the bus library into a TCException naming `Operation`, or, for lack
/// of memory, into std::bad_alloc.
void Require(int Result, char const* Operation);
/// The same for reading a message that has come: what can not be read is malformed.
void RequireSound(int Result, char const* Operation);

/// Takes values of basic types from a message, or appends them, a letter of `Types` each. A text is
/// read into a `char const*` and appended from its first character, a number from its place. What
/// the library has for several values looks for each through all that may be in a message.
void ReadValues(sd_bus_message* Message, char const* Types, std::initializer_list<void*> Places,
                char const* Operation);
void AppendValues(sd_bus_message* Message, char const* Types,
                  std::initializer_list<void const*> Values, char const* Operation);

/// The text of the exception being handled.
std::string CaughtText();

/// The text of errno or of a negative result, thread-safe.
std::string ErrorText(int Error);

/// The address in use: `Address`, else MAILROUTER_ADDRESS, else the system's socket.
std::string RouterAddress(std::string const& Address);

}  // namespace MailWire
