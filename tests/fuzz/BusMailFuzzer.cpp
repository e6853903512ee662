// SPDX-License-Identifier: MIT
// Any arguments of a bus message are a mail, or several, or are refused. The input says which
// arguments there are: a letter for the type and then the value; '(' '[' and ')' ']' open and close
// containers, and the text behind an opening one, up to a zero byte, is what it contains. 'p' is an
// array of bytes, after a letter that says how many.
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Platform/Messaging/MailWire.h"
#include "Platform/Utility/TCException.h"
#include "tests/support/UnreadBus.h"

namespace {

void Require(bool Condition) {
  if (!Condition) {
    std::abort();
  }
}

class TInput {
 public:
  TInput(std::uint8_t const* Data, std::size_t Size) : m_Data(Data), m_Size(Size) {}

  bool IsEmpty() const { return m_Size == 0; }
  char Letter() {
    char const Result = static_cast<char>(*m_Data);
    ++m_Data;
    --m_Size;
    return Result;
  }
  std::int32_t Number() {
    std::int32_t Value = 0;
    std::size_t const Taken = m_Size < sizeof(Value) ? m_Size : sizeof(Value);
    std::memcpy(&Value, m_Data, Taken);
    m_Data += Taken;
    m_Size -= Taken;
    return Value;
  }
  // As many as the letter before them says.
  std::string Bytes() {
    std::size_t const Wanted = IsEmpty() ? 0 : static_cast<unsigned char>(Letter());
    std::string Result;
    while (Result.size() < Wanted && m_Size > 0) {
      Result.push_back(Letter());
    }
    return Result;
  }
  std::string Text() {
    std::string Result;
    while (m_Size > 0) {
      char const Next = Letter();
      if (Next == '\0') {
        break;
      }
      Result.push_back(Next);
    }
    return Result;
  }

 private:
  std::uint8_t const* m_Data;
  std::size_t m_Size;
};

// What the bus library does not take is left out.
void Append(sd_bus_message* Message, TInput& Input) {
  char const Type = Input.Letter();
  switch (Type) {
    case 'i':
    case 'u':
    case 'b': {
      std::int32_t const Value = Type == 'b' ? Input.Number() & 1 : Input.Number();
      sd_bus_message_append_basic(Message, Type, &Value);
      break;
    }
    case 's':
      sd_bus_message_append_basic(Message, 's', Input.Text().c_str());
      break;
    case 'h': {
      int const File = STDIN_FILENO;
      sd_bus_message_append_basic(Message, 'h', &File);
      break;
    }
    case 'y': {
      char const Value = Input.IsEmpty() ? '\0' : Input.Letter();
      sd_bus_message_append_basic(Message, 'y', &Value);
      break;
    }
    case 'p': {
      std::string const Bytes = Input.Bytes();
      sd_bus_message_append_array(Message, 'y', Bytes.data(), Bytes.size());
      break;
    }
    case '[':
      sd_bus_message_open_container(Message, 'a', Input.Text().c_str());
      break;
    case '(':
      sd_bus_message_open_container(Message, 'r', Input.Text().c_str());
      break;
    case '<':
      sd_bus_message_open_container(Message, 'v', Input.Text().c_str());
      break;
    default:
      sd_bus_message_close_container(Message);
      break;
  }
}

void Walk(TSNorvMailContent const& Mail) {
  Require(Mail.Body != nullptr);
  for (int Index = 0; Index < Mail.Body->get_Count(); ++Index) {
    TCNorvRecordCursor Cursor(Mail.Body->get_Signature(), Mail.Body->get_Record(Index));
    TSNorvFieldValue Value;
    while (Cursor.Next(Value)) {
    }
  }
}

// What `Read` throws as it should says that it refuses.
template <class TRead>
void Try(sd_bus_message* Message, TRead const& Read) {
  Require(sd_bus_message_rewind(Message, 1) >= 0);
  try {
    Read();
  } catch (TCException const&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* Data, std::size_t Size) {
  TCNorvMailClassID const Class("fuzz", 1);
  static TUnreadBus const Bus;
  TCBusMessage const Message = Bus.NewMessage();
  sd_bus_message* const Raw = Message.get();
  TInput Input(Data, Size);
  while (!Input.IsEmpty()) {
    Append(Raw, Input);
  }
  if (sd_bus_message_seal(Raw, 1, 0) < 0) {
    return 0;  // a container was left open
  }
  Try(Raw, [&] { Walk(MailWire::ReadMail(Raw, Class)); });
  Try(Raw, [&] {
    std::uint32_t Count = 0;
    MailWire::RequireSound(sd_bus_message_read_basic(Raw, 'u', &Count), "read a count");
    MailWire::TSMailGroup const Group = MailWire::ReadMails(Raw, Count);
    Require(Group.Mails.size() == Count);
    for (MailWire::TSPackedMail const& Mail : Group.Mails) {
      Try(Raw, [&] { Walk(MailWire::UnpackMail(Group, Mail, Class)); });
    }
  });
  return 0;
}
