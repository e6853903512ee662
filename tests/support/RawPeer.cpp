// SPDX-License-Identifier: MIT
// Makes messages byte by byte, so that tests can lie in each of them.
#include "tests/support/RawPeer.h"

#include <poll.h>
#include <sys/socket.h>

#include <cstring>

namespace {

constexpr int kPatienceMilliseconds = 60000;

std::string Aligned(std::string Bytes, std::size_t Alignment) {
  Bytes.resize((Bytes.size() + Alignment - 1) / Alignment * Alignment, '\0');
  return Bytes;
}

}  // namespace

TRawPeer::TRawPeer(TCFileDescriptor Socket) : m_Socket(std::move(Socket)) {}

bool TRawPeer::Send(std::string const& Bytes, std::vector<int> const& Files) {
  std::vector<char> Control(CMSG_SPACE(Files.size() * sizeof(int)));
  iovec Part = {const_cast<char*>(Bytes.data()), Bytes.size()};
  msghdr Message = {};
  Message.msg_iov = &Part;
  Message.msg_iovlen = 1;
  if (!Files.empty()) {
    Message.msg_control = Control.data();
    Message.msg_controllen = Control.size();
    cmsghdr* const Header = CMSG_FIRSTHDR(&Message);
    Header->cmsg_level = SOL_SOCKET;
    Header->cmsg_type = SCM_RIGHTS;
    Header->cmsg_len = CMSG_LEN(Files.size() * sizeof(int));
    std::memcpy(CMSG_DATA(Header), Files.data(), Files.size() * sizeof(int));
  }
  while (Part.iov_len > 0) {
    ssize_t const Count = sendmsg(m_Socket.get(), &Message, MSG_NOSIGNAL);
    if (Count < 0) {
      return false;
    }
    Part.iov_base = static_cast<char*>(Part.iov_base) + Count;
    Part.iov_len -= static_cast<std::size_t>(Count);
    Message.msg_control = nullptr;
    Message.msg_controllen = 0;
  }
  return true;
}

bool TRawPeer::Authenticate() {
  return Send(Authentication()) && HearUntil("OK ");
}

bool TRawPeer::Greet(std::string const& Identity) {
  return Send(Authentication()) && HearUntil("AGREE_UNIX_FD\r\n") && Send(RawGreeting(Identity)) &&
         HearUntil("l\2");
}

bool TRawPeer::GreetAtOnce(std::string const& Identity) {
  return Send(Authentication() + RawGreeting(Identity)) && HearUntil("l\2");
}

bool TRawPeer::HearUntil(std::string const& End) {
  std::string Heard;
  while (Heard.find(End) == std::string::npos) {
    pollfd File = {m_Socket.get(), POLLIN, 0};
    char Bytes[4096];
    bool const Comes = poll(&File, 1, kPatienceMilliseconds) == 1;
    ssize_t const Count = Comes ? recv(m_Socket.get(), Bytes, sizeof(Bytes), 0) : 0;
    if (Count <= 0) {
      return false;
    }
    Heard.append(Bytes, static_cast<std::size_t>(Count));
  }
  return true;
}

bool TRawPeer::HearEnd() {
  for (;;) {
    pollfd File = {m_Socket.get(), POLLIN, 0};
    char Bytes[65536];
    if (poll(&File, 1, kPatienceMilliseconds) != 1) {
      return false;
    }
    if (recv(m_Socket.get(), Bytes, sizeof(Bytes), 0) <= 0) {
      return true;
    }
  }
}

std::string Authentication() {
  return std::string(1, '\0') + "AUTH EXTERNAL\r\nDATA\r\nNEGOTIATE_UNIX_FD\r\nBEGIN\r\n";
}

TRawBody& TRawBody::Pad(std::size_t Alignment) {
  m_Bytes = Aligned(std::move(m_Bytes), Alignment);
  return *this;
}

TRawBody& TRawBody::Word(std::uint32_t Value) {
  Pad(sizeof(Value));
  for (unsigned Shift = 0; Shift < 32; Shift += 8) {
    m_Bytes.push_back(static_cast<char>(Value >> Shift));
  }
  return *this;
}

TRawBody& TRawBody::Long(std::uint64_t Value) {
  Pad(sizeof(Value));
  Word(static_cast<std::uint32_t>(Value));
  return Word(static_cast<std::uint32_t>(Value >> 32U));
}

TRawBody& TRawBody::Text(std::string const& Value) {
  Word(static_cast<std::uint32_t>(Value.size()));
  m_Bytes += Value;
  m_Bytes.push_back('\0');
  return *this;
}

std::string TSRawCall::Encode() const {
  TRawBody Fields;
  auto const AppendText = [&Fields](char Code, char Type, std::string const& Text) {
    // A field is a code and a variant: a signature of one letter and a text.
    Fields.Pad(8);
    std::uint32_t const Head = static_cast<unsigned char>(Code) | 1U << 8U |
                               static_cast<std::uint32_t>(static_cast<unsigned char>(Type)) << 16U;
    Fields.Word(Head).Text(Text);
  };
  AppendText(1, 'o', Path);
  AppendText(2, 's', Interface);
  AppendText(3, 's', Member);
  if (Files > 0) {
    Fields.Pad(8).Word(9U | 1U << 8U | std::uint32_t{'u'} << 16U).Word(Files);
  }
  // A signature's length is one byte, so it is written by hand.
  std::string Encoded = Fields.Pad(8).get();
  Encoded += std::string("\x08\x01g\0", 4) + static_cast<char>(Signature.size()) + Signature + '\0';
  TRawBody Head;
  Head.Word('l' | 1U << 8U | 1U << 16U | 1U << 24U);  // a call that wants no answer, version 1
  Head.Word(static_cast<std::uint32_t>(Body.size())).Word(Serial);
  Head.Word(static_cast<std::uint32_t>(Encoded.size()));
  return Aligned(Head.get() + Encoded, 8) + Body;
}

std::string RawGreeting(std::string const& Identity) {
  TSRawCall Hello = {"/mailrouter", "mailrouter.Router1", "Hello", "sus", "", 0, 1};
  Hello.Body = TRawBody().Text(Identity).Word(1).Text("").get();
  std::string Bytes = Hello.Encode();
  Bytes[2] = 0;  // wants an answer
  return Bytes;
}

TSRawCall RawChange(std::string const& Identity, std::string const& Value) {
  TSRawCall Send = {"/mailbox/_40mailrouter_2eproperty",
                    "mailrouter.class.property.v2",
                    "Send",
                    "stiia(uisssb)",
                    "",
                    0,
                    2};
  TRawBody Record;
  Record.Word(31).Word(201).Text(Value).Text("").Text("").Word(0);
  TRawBody Body;
  Body.Text(Identity).Long(1).Word(2).Word(3);
  Body.Word(static_cast<std::uint32_t>(Record.get().size())).Pad(8);
  Send.Body = Body.get() + Record.get();
  return Send;
}
