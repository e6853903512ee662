// SPDX-License-Identifier: MIT
// Takes mails to and from bus messages.
#include "Platform/Messaging/MailWire.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "Platform/Messaging/LittleEndian.h"
#include "Platform/Messaging/RouterAddress.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCFileDescriptor.h"
#include "Platform/Utility/TCPerThread.h"
#include "Platform/Utility/TextConversions.h"
#include "Platform/Utility/UTF8.h"

namespace MailWire {
namespace {

constexpr char kSource[] = "../Platform/Messaging/MailWire";
constexpr char kMailboxPrefix[] = "/mailbox";
constexpr char kClassPrefix[] = "mailrouter.class.";
constexpr std::size_t kMailHeader = 3 * kWordSize;  // of a mail in a group

struct TSFree {
  void operator()(char* Text) const { std::free(Text); }
};
using TCText = std::unique_ptr<char, TSFree>;

// Whether the bus may carry the text: it allows UTF-8 without zero bytes only.
bool IsBusText(std::string_view Text) {
  if (Text.find('\0') != std::string_view::npos) {
    return false;
  }
  while (!Text.empty()) {
    std::size_t const Length = SequenceLength(Text);
    if (Length == 0) {
      return false;
    }
    Text.remove_prefix(Length);
  }
  return true;
}

// A thread asks for the same one again and again, so each keeps its last. Good until it asks for
// another.
template <class TKey, class TValue>
TValue const& Remembered(TKey const& Key, TValue (*Make)(TKey const&)) {
  auto& Last = TCPerThread<std::optional<std::pair<TKey, TValue>>>::Get();
  if (!Last || Last->first != Key) {
    Last.emplace(Key, Make(Key));
  }
  return Last->second;
}

void AppendValue(sd_bus_message* Message, TSNorvFieldValue const& Value) {
  if (Value.Code == 's') {
    char* Space = nullptr;
    Require(sd_bus_message_append_string_space(Message, Value.Text.size(), &Space),
            "append a text");
    std::copy(Value.Text.begin(), Value.Text.end(), Space);
  } else {
    Require(sd_bus_message_append_basic(Message, Value.Code, &Value.Integer), "append a number");
  }
}

void AppendField(sd_bus_message* Message, char Declared, TSNorvFieldValue const& Value) {
  if (Declared != 'v') {
    AppendValue(Message, Value);
    return;
  }
  char const Type[] = {Value.Code, '\0'};
  Require(sd_bus_message_open_container(Message, 'v', Type), "open a variant");
  AppendValue(Message, Value);
  Require(sd_bus_message_close_container(Message), "close a variant");
}

void AppendRecords(sd_bus_message* Message, TCNorvMailBody const& Body) {
  std::string const Fields = "u" + Body.get_Signature();
  Require(sd_bus_message_open_container(Message, 'a', ("(" + Fields + ")").c_str()),
          "open the records");
  for (int Index = 0; Index < Body.get_Count(); ++Index) {
    Require(sd_bus_message_open_container(Message, 'r', Fields.c_str()), "open a record");
    TCNorvRecordCursor Cursor(Body.get_Signature(), Body.get_Record(Index));
    std::uint32_t const Assigned = Cursor.get_AssignedMask();
    Require(sd_bus_message_append_basic(Message, 'u', &Assigned), "append a mask");
    TSNorvFieldValue Value;
    for (char Declared : Body.get_Signature()) {
      Cursor.Next(Value);
      AppendField(Message, Declared, Value);
    }
    Require(sd_bus_message_close_container(Message), "close a record");
  }
  Require(sd_bus_message_close_container(Message), "close the records");
}

void AppendPacked(sd_bus_message* Message, TCNorvMailBody const& Body) {
  Require(sd_bus_message_append_basic(Message, 's', Body.get_Signature().c_str()),
          "append the fields of the records");
  Require(sd_bus_message_append_array(Message, 'y', Body.get_Bytes().data(), Body.get_Size()),
          "append packed records");
}

// The letters of the fields and what has been encoded; both stay the message's.
std::pair<char const*, std::string_view> ReadEncoded(sd_bus_message* Message) {
  char const* Fields = nullptr;
  void const* Bytes = nullptr;
  std::size_t Size = 0;
  RequireSound(sd_bus_message_read_basic(Message, 's', &Fields), "read the fields of the records");
  RequireSound(sd_bus_message_read_array(Message, 'y', &Bytes, &Size), "read packed records");
  return {Fields, {static_cast<char const*>(Bytes), Size}};
}

std::shared_ptr<TCNorvMailBody const> ReadPacked(sd_bus_message* Message,
                                                 TSMailLimit const& Limit) {
  auto const [Fields, Bytes] = ReadEncoded(Message);
  if (Bytes.size() > Limit.Bytes) {
    throw TCException(kSource, __LINE__).Format("Malformed mail: larger than a mail may be");
  }
  return TCNorvMailBody::FromBytes(Fields, Bytes, Limit.Records);
}

void RequireEnd(sd_bus_message* Message) {
  if (sd_bus_message_at_end(Message, 1) <= 0) {
    throw TCException(kSource, __LINE__).Format("Malformed mail: more than its records");
  }
}

TSNorvFieldValue ReadValue(sd_bus_message* Message, char Code) {
  TSNorvFieldValue Value;
  Value.Code = Code;
  if (Code == 's') {
    char const* Text = nullptr;
    RequireSound(sd_bus_message_read_basic(Message, 's', &Text), "read a text");
    Value.Text = Text;
  } else {
    RequireSound(sd_bus_message_read_basic(Message, Code, &Value.Integer), "read a number");
  }
  return Value;
}

TSNorvFieldValue ReadField(sd_bus_message* Message, char Declared) {
  if (Declared != 'v') {
    return ReadValue(Message, Declared);
  }
  char const* Contents = nullptr;
  RequireSound(sd_bus_message_peek_type(Message, nullptr, &Contents), "read a variant");
  if (Contents == nullptr || std::strlen(Contents) != 1 ||
      std::strchr("isb", *Contents) == nullptr) {
    throw TCException(kSource, __LINE__).Format("Malformed mail: a field of an unknown type");
  }
  char const Type[] = {*Contents, '\0'};
  RequireSound(sd_bus_message_enter_container(Message, 'v', Type), "enter a variant");
  TSNorvFieldValue const Value = ReadValue(Message, Type[0]);
  RequireSound(sd_bus_message_exit_container(Message), "leave a variant");
  return Value;
}

std::shared_ptr<TCNorvMailBody const> ReadRecords(sd_bus_message* Message, char const* Contents,
                                                  std::size_t Most) {
  std::string const Element = Contents == nullptr ? "" : Contents;
  if (Element.size() < 3 || Element.compare(0, 2, "(u") != 0 || Element.back() != ')') {
    throw TCException(kSource, __LINE__)
        .Format("Malformed mail: records of type %s", Element.c_str());
  }
  std::string const Signature = Element.substr(2, Element.size() - 3);
  TCNorvMailBody::TCWriter Writer(Signature);
  RequireSound(sd_bus_message_enter_container(Message, 'a', Element.c_str()), "enter the records");
  std::string const Fields = "u" + Signature;
  int More = 0;
  std::size_t Count = 0;
  while ((More = sd_bus_message_enter_container(Message, 'r', Fields.c_str())) > 0) {
    TCNorvMailBody::RequireCount(++Count, Most);
    std::uint32_t Assigned = 0;
    RequireSound(sd_bus_message_read_basic(Message, 'u', &Assigned), "read a mask");
    if ((std::uint64_t{Assigned} >> Signature.size()) != 0) {
      throw TCException(kSource, __LINE__).Format("Malformed mail: an unknown field is assigned");
    }
    Writer.BeginRecord(Assigned);
    for (char Declared : Signature) {
      Writer.AppendField(ReadField(Message, Declared));
    }
    RequireSound(sd_bus_message_exit_container(Message), "leave a record");
  }
  RequireSound(More, "enter a record");
  RequireSound(sd_bus_message_exit_container(Message), "leave the records");
  return Writer.Finish();
}

std::string MakeMailboxPath(std::string const& Mailbox) {
  char* Path = nullptr;
  Require(sd_bus_path_encode(kMailboxPrefix, Mailbox.c_str(), &Path), "make a mailbox's path");
  TCText const Owner(Path);
  if (sd_bus_object_path_is_valid(Path) <= 0) {
    throw TCException(kSource, __LINE__).Format("the name of a mailbox is too long");
  }
  return Path;
}

std::string MakeClassInterface(TCNorvMailClassID const& MailClass) {
  char* Path = nullptr;
  Require(sd_bus_path_encode("/", MailClass.get_Name().c_str(), &Path), "make a class's interface");
  TCText const Owner(Path);
  std::string Interface =
      std::string(kClassPrefix) + (Path + 1) + ".v" + ToString(MailClass.get_Version());
  if (sd_bus_interface_name_is_valid(Interface.c_str()) <= 0) {
    throw TCException(kSource, __LINE__)
        .Format("%s is no interface that a mail class can have", Interface.c_str());
  }
  return Interface;
}

std::optional<TCNorvMailClassID> MakeClass(std::string const& Text) {
  std::size_t const Prefix = std::strlen(kClassPrefix);
  std::size_t const Dot = Text.rfind(".v");
  if (Text.compare(0, Prefix, kClassPrefix) != 0 || Dot == std::string::npos || Dot <= Prefix) {
    return std::nullopt;
  }
  bool OK = false;
  long const Version = StringToLong(Text.substr(Dot + 2), OK);
  char* Name = nullptr;
  std::string const Path = "/" + Text.substr(Prefix, Dot - Prefix);
  if (!OK || sd_bus_path_decode(Path.c_str(), "/", &Name) <= 0) {
    return std::nullopt;
  }
  TCText const Owner(Name);
  TCNorvMailClassID const MailClass(Name, static_cast<int>(Version));
  // Under two spellings a class would be two to whoever counts or compares interfaces.
  bool const IsItsOwn = Version >= 0 && MakeClassInterface(MailClass) == Text;
  return IsItsOwn ? std::optional<TCNorvMailClassID>(MailClass) : std::nullopt;
}

}  // namespace

std::string CaughtText() {
  try {
    throw;
  } catch (std::exception const& Failure) {
    return Failure.what();
  } catch (...) {
    return "an exception of an unknown type";
  }
}

std::string ErrorText(int Error) {
  return std::generic_category().message(std::abs(Error));
}

void Require(int Result, char const* Operation) {
  if (Result == -ENOMEM) {
    throw std::bad_alloc();
  }
  if (Result < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot %s: %s", Operation, ErrorText(Result).c_str());
  }
}

void RequireSound(int Result, char const* Operation) {
  if (Result < 0 && Result != -ENOMEM) {
    throw TCException(kSource, __LINE__)
        .Format("Malformed mail: cannot %s: %s", Operation, ErrorText(Result).c_str());
  }
  Require(Result, Operation);
}

void ReadValues(sd_bus_message* Message, char const* Types, std::initializer_list<void*> Places,
                char const* Operation) {
  for (void* const Place : Places) {
    RequireSound(sd_bus_message_read_basic(Message, *Types, Place), Operation);
    ++Types;
  }
}

void AppendValues(sd_bus_message* Message, char const* Types,
                  std::initializer_list<void const*> Values, char const* Operation) {
  for (void const* const Value : Values) {
    Require(sd_bus_message_append_basic(Message, *Types, Value), Operation);
    ++Types;
  }
}

std::string RouterAddress(std::string const& Address) {
  if (!Address.empty()) {
    return Address;
  }
  char const* const Environment = secure_getenv(kRouterAddressVariable);
  return Environment != nullptr && *Environment != '\0' ? Environment : kDefaultRouterAddress;
}

std::string const& MailboxPath(std::string const& Mailbox) {
  return Remembered(Mailbox, MakeMailboxPath);
}

std::string const& ClassInterface(TCNorvMailClassID const& MailClass) {
  return Remembered(MailClass, MakeClassInterface);
}

std::optional<TCNorvMailClassID> ParseClassInterface(char const* Interface) {
  return Remembered(std::string(Interface == nullptr ? "" : Interface), MakeClass);
}

bool FitsInline(TCNorvMailBody const& Body, TEForm Form) {
  if (Body.get_Size() > kInlineLimit) {
    return false;
  }
  if (Form == TEForm::ePacked) {
    return true;
  }
  for (int Index = 0; Index < Body.get_Count(); ++Index) {
    TCNorvRecordCursor Cursor(Body.get_Signature(), Body.get_Record(Index));
    TSNorvFieldValue Value;
    while (Cursor.Next(Value)) {
      if (Value.Code == 's' && !IsBusText(Value.Text)) {
        return false;
      }
    }
  }
  return true;
}

void AppendMail(sd_bus_message* Message, TSNorvMailContent const& Content, TEForm Form) {
  AppendValues(Message, "ii", {&Content.SignalType, &Content.SignalName}, "append a signal");
  if (FitsInline(*Content.Body, Form)) {
    Form == TEForm::ePacked ? AppendPacked(Message, *Content.Body)
                            : AppendRecords(Message, *Content.Body);
    return;
  }
  TCFileDescriptor const File(Content.Body->MakeMemoryFile());
  int const Number = File.get();
  Require(sd_bus_message_append_basic(Message, 'h', &Number), "append a memory file");
}

TSNorvMailContent ReadMail(sd_bus_message* Message, TCNorvMailClassID const& MailClass,
                           TSMailLimit const& Limit) {
  TSNorvMailContent Content{MailClass, 0, 0, nullptr};
  ReadValues(Message, "ii", {&Content.SignalType, &Content.SignalName}, "read a signal");
  char Type = 0;
  char const* Contents = nullptr;
  RequireSound(sd_bus_message_peek_type(Message, &Type, &Contents), "read the records");
  if (Type == 'h') {
    int File = -1;  // stays the message's
    RequireSound(sd_bus_message_read_basic(Message, 'h', &File), "read a memory file");
    Content.Body = TCNorvMailBody::FromMemoryFile(File, Limit.Bytes, Limit.Records);
  } else if (Type == 's') {
    Content.Body = ReadPacked(Message, Limit);
  } else if (Type == 'a') {
    Content.Body = ReadRecords(Message, Contents, Limit.Records);
  } else {
    throw TCException(kSource, __LINE__).Format("Malformed mail: no records");
  }
  RequireEnd(Message);
  return Content;
}

std::size_t PackedSize(TSNorvMailContent const& Content) {
  return kMailHeader + Content.Body->get_Size();
}

void AppendMails(sd_bus_message* Message, TSMailGroup const& Group) {
  std::size_t Size = 0;
  for (TSPackedMail const& Mail : Group.Mails) {
    Size += kMailHeader + Mail.Records.size();
  }
  void* Space = nullptr;
  Require(sd_bus_message_append_basic(Message, 's', Group.Fields),
          "append the fields of the records");
  Require(sd_bus_message_append_array_space(Message, 'y', Size, &Space), "append packed mails");
  char* Place = static_cast<char*>(Space);
  for (TSPackedMail const& Mail : Group.Mails) {
    Place = StoreWord(Place, static_cast<std::uint32_t>(Mail.SignalType));
    Place = StoreWord(Place, static_cast<std::uint32_t>(Mail.SignalName));
    Place = StoreWord(Place, static_cast<std::uint32_t>(Mail.Records.size()));
    Place = std::copy(Mail.Records.begin(), Mail.Records.end(), Place);
  }
}

TSMailGroup ReadMails(sd_bus_message* Message, std::size_t Count) {
  auto const [Fields, Bytes] = ReadEncoded(Message);
  RequireEnd(Message);
  if (Count > kGroupLimit || Bytes.size() > kGroupByteLimit) {
    throw TCException(kSource, __LINE__)
        .Format("Malformed mails: %zu with %zu bytes in one message, at most %zu with %zu", Count,
                Bytes.size(), kGroupLimit, kGroupByteLimit);
  }
  return {Fields, SplitMails(Bytes, Count)};
}

std::vector<TSPackedMail> SplitMails(std::string_view Bytes, std::size_t Count) {
  std::vector<TSPackedMail> Mails;
  Mails.reserve(std::min(Count, Bytes.size() / kMailHeader));
  while (Bytes.size() >= kMailHeader) {
    char const* const Header = Bytes.data();
    std::size_t const Size = LoadWord(Header + 2 * kWordSize);
    Bytes.remove_prefix(kMailHeader);
    if (Size > Bytes.size()) {
      throw TCException(kSource, __LINE__).Format("Malformed mails: one ends early");
    }
    Mails.push_back({static_cast<std::int32_t>(LoadWord(Header)),
                     static_cast<std::int32_t>(LoadWord(Header + kWordSize)),
                     Bytes.substr(0, Size)});
    Bytes.remove_prefix(Size);
  }
  if (!Bytes.empty() || Mails.size() != Count) {
    throw TCException(kSource, __LINE__)
        .Format("Malformed mails: %zu announced, %zu and %zu bytes found", Count, Mails.size(),
                Bytes.size());
  }
  return Mails;
}

TSNorvMailContent UnpackMail(TSMailGroup const& Group, TSPackedMail const& Mail,
                             TCNorvMailClassID const& MailClass, std::size_t Records) {
  return {MailClass, Mail.SignalType, Mail.SignalName,
          TCNorvMailBody::FromBytes(Group.Fields, Mail.Records, Records)};
}

}  // namespace MailWire
