// SPDX-License-Identifier: MIT
// Reads the messages of one proxy at a time.
#include "ScriptedRouter.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <utility>

#include "tests/support/UnixSocket.h"

namespace {

bool IsCall(sd_bus_message* Message, char const* Member) {
  return sd_bus_message_is_method_call(Message, nullptr, Member) > 0;
}

int FirstValue(TSNorvMailContent const& Content) {
  return Content.Body->get_Signature() == "isv" ? FirstNumber(Content) : 0;
}

}  // namespace

TScriptedRouter::TScriptedRouter(std::string const& Path, TOnMessage OnMessage,
                                 std::uint32_t Version)
    : m_OnMessage(std::move(OnMessage)),
      m_Version(Version),
      m_Socket(ListenAt(Path)),
      m_Wake(eventfd(0, EFD_CLOEXEC)),
      m_Thread([this] { Run(); }) {}

TScriptedRouter::~TScriptedRouter() {
  eventfd_write(m_Wake.get(), 1);
  m_Thread.join();
}

void TScriptedRouter::Run() {
  while (!m_Ending) {
    if (m_Bus) {
      Process();
    }
    pollfd Files[2] = {{m_Wake.get(), POLLIN, 0}, {m_Socket.get(), POLLIN, 0}};
    if (m_Bus) {
      Files[1] = {sd_bus_get_fd(m_Bus.get()), static_cast<short>(sd_bus_get_events(m_Bus.get())),
                  0};
    }
    poll(Files, 2, -1);
    m_Ending = Files[0].revents != 0;
    if (!m_Bus && Files[1].revents != 0) {
      Accept();
    }
  }
}

void TScriptedRouter::Accept() {
  TCFileDescriptor File(accept4(m_Socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  sd_bus* Bus = nullptr;
  sd_id128_t ID = {};
  EXPECT_GE(sd_id128_randomize(&ID), 0);
  EXPECT_GE(sd_bus_new(&Bus), 0);
  m_Bus.reset(Bus);
  EXPECT_GE(sd_bus_set_fd(Bus, File.get(), File.get()), 0);
  File.Release();
  EXPECT_GE(sd_bus_set_server(Bus, 1, ID), 0);
  EXPECT_GE(sd_bus_negotiate_fds(Bus, 1), 0);
  EXPECT_GE(sd_bus_add_filter(Bus, nullptr, OnFilter, this), 0);
  EXPECT_GE(sd_bus_start(Bus), 0);
}

void TScriptedRouter::Process() {
  int Result = 1;
  while (Result > 0 && !m_ConnectionEnds) {
    Result = sd_bus_process(m_Bus.get(), nullptr);
  }
  if (Result < 0 || std::exchange(m_ConnectionEnds, false)) {
    m_Bus.reset();
  }
}

int TScriptedRouter::OnFilter(sd_bus_message* Message, void* Router, sd_bus_error* /*Error*/) {
  static_cast<TScriptedRouter*>(Router)->Take(Message);
  return 1;
}

void TScriptedRouter::Take(sd_bus_message* Message) {
  if (IsCall(Message, MailWire::kHello)) {
    EXPECT_GE(sd_bus_reply_method_return(Message, "u", m_Version), 0);
  }
  if (m_ConnectionEnds || sd_bus_message_is_method_call(Message, nullptr, nullptr) <= 0) {
    return;
  }
  TMessage const Taken = Read(Message);
  m_Messages.Add(Taken);
  if (m_OnMessage) {
    m_OnMessage(*this, Taken);
  }
  for (int const Value : Taken.Values) {
    m_Values.Add(Value);
  }
}

TScriptedRouter::TMessage TScriptedRouter::Read(sd_bus_message* Message) {
  TMessage Result{sd_bus_message_get_member(Message), 0, {}};
  auto const Class = MailWire::ParseClassInterface(sd_bus_message_get_interface(Message));
  char const* Identity = nullptr;
  if (IsCall(Message, MailWire::kSend)) {
    EXPECT_GE(sd_bus_message_read(Message, "st", &Identity, &Result.First), 0);
    Result.Values.push_back(FirstValue(MailWire::ReadMail(Message, *Class)));
  } else if (IsCall(Message, MailWire::kSendMany)) {
    std::uint32_t Count = 0;
    EXPECT_GE(sd_bus_message_read(Message, "stu", &Identity, &Result.First, &Count), 0);
    auto const Group = MailWire::ReadMails(Message, Count);
    for (auto const& Mail : Group.Mails) {
      Result.Values.push_back(FirstValue(MailWire::UnpackMail(Group, Mail, *Class)));
    }
  }
  return Result;
}

void TScriptedRouter::Acknowledge(std::uint64_t Number) {
  EXPECT_GE(sd_bus_emit_signal(m_Bus.get(), MailWire::MailboxPath(kMailbox).c_str(),
                               MailWire::kRouterInterface, MailWire::kAcknowledged, "t", Number),
            0);
}

void TScriptedRouter::Publish(std::uint64_t Previous, std::uint64_t Sequence,
                              MailWire::TEWhose Whose, int Value) {
  constexpr std::uint64_t kEpoch = 7;
  constexpr std::uint64_t kNoMail = 0;
  sd_bus_message* Raw = nullptr;
  EXPECT_GE(sd_bus_message_new_signal(m_Bus.get(), &Raw, MailWire::MailboxPath(kMailbox).c_str(),
                                      MailWire::ClassInterface(TestClass()).c_str(),
                                      MailWire::kPublished),
            0);
  TCBusMessage const Message(Raw);
  MailWire::AppendValues(Raw, "tttyt", {&kEpoch, &Previous, &Sequence, &Whose, &kNoMail},
                         "append an envelope");
  MailWire::AppendMail(Raw, OneRecord(eNorvEvent, Value), MailWire::FormOf(m_Version));
  EXPECT_GE(sd_bus_send(m_Bus.get(), Raw, nullptr), 0);
}

std::vector<TScriptedRouter::TMessage> TScriptedRouter::WaitForMails(std::size_t Count) {
  EXPECT_GE(m_Values.WaitFor(Count).size(), Count);
  std::vector<TMessage> Mails;
  for (TMessage& Message : m_Messages.WaitFor(0)) {
    if (!Message.Values.empty()) {
      Mails.push_back(std::move(Message));
    }
  }
  return Mails;
}
