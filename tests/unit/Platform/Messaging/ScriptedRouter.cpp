// SPDX-License-Identifier: MIT
// Reads the frames of one proxy at a time.
#include "ScriptedRouter.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <utility>

#include "tests/support/UnixSocket.h"

namespace {

int FirstValue(TSNorvMailContent const& Content) {
  return Content.Body->get_Signature() == "isv" ? FirstNumber(Content) : 0;
}

TScriptedRouter::TMessage Read(Wire::TCFrameView Frame) {
  TScriptedRouter::TMessage Result{Frame.get_Head().Kind, 0, {}};
  if (Result.Kind == Wire::TEFrame::eMails) {
    Result.First = Frame.get_Head().Number;
    Wire::TSFrameMail Mail;
    while (Frame.Next(Mail)) {
      Result.Values.push_back(FirstValue(Frame.Read(Mail, Frame.get_Class())));
    }
  }
  return Result;
}

Wire::TSFrameHead PublishedHead(std::uint64_t Previous, std::uint64_t Sequence,
                                Wire::TEWhose Whose) {
  constexpr std::uint64_t kScriptedEpoch = 7;
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::ePublished;
  Head.Whose = Whose;
  Head.Mailbox = kMailbox;
  Head.Class = TestClass().get_Name();
  Head.Version = TestClass().get_Version();
  Head.Position = {kScriptedEpoch, Sequence};
  Head.Previous = Previous;
  return Head;
}

}  // namespace

TScriptedRouter::TScriptedRouter(std::string const& Path, TOnMessage OnMessage)
    : m_OnMessage(std::move(OnMessage)),
      m_Socket(ListenAt(Path)),
      m_Wake(eventfd(0, EFD_CLOEXEC)),
      m_Thread([this] { Run(); }) {}

TScriptedRouter::~TScriptedRouter() {
  eventfd_write(m_Wake.get(), 1);
  m_Thread.join();
}

void TScriptedRouter::Run() {
  while (!m_Ending) {
    bool const IsConnected = m_Connection.get() >= 0;
    pollfd Files[2] = {{m_Wake.get(), POLLIN, 0},
                       {IsConnected ? m_Connection.get() : m_Socket.get(), POLLIN, 0}};
    poll(Files, 2, -1);
    m_Ending = Files[0].revents != 0;
    if (Files[1].revents != 0 && IsConnected) {
      Process();
    } else if (Files[1].revents != 0) {
      m_Connection = Wire::AcceptFrameSocket(m_Socket.get());
    }
  }
}

void TScriptedRouter::Process() {
  Wire::TETransfer const Result = m_Receiver.Receive(m_Connection.get(), true);
  if (Result == Wire::TETransfer::eDone) {
    Take({m_Receiver.get_Bytes(), m_Receiver.get_File()});
  }
  if (Result == Wire::TETransfer::eEnded || std::exchange(m_ConnectionEnds, false)) {
    m_Connection = TCFileDescriptor();
  }
}

void TScriptedRouter::Take(Wire::TCFrameView const& Frame) {
  if (Frame.get_Head().Kind == Wire::TEFrame::eHello) {
    Wire::TSFrameHead Head;
    Head.Kind = Wire::TEFrame::eWelcome;
    Head.Version = Wire::kProtocolVersion;
    Send(Wire::TCFrame(Head));
  }
  TMessage const Taken = Read(Frame);
  m_Messages.Add(Taken);
  if (m_OnMessage) {
    m_OnMessage(*this, Taken);
  }
  for (int const Value : Taken.Values) {
    m_Values.Add(Value);
  }
}

void TScriptedRouter::Send(Wire::TCFrame const& Frame) {
  EXPECT_EQ(Wire::Send(m_Connection.get(), Frame), Wire::TETransfer::eDone);
}

void TScriptedRouter::SendBytes(std::string const& Bytes) {
  EXPECT_EQ(send(m_Connection.get(), Bytes.data(), Bytes.size(), MSG_NOSIGNAL),
            static_cast<ssize_t>(Bytes.size()));
}

void TScriptedRouter::Acknowledge(std::uint64_t Number) {
  Wire::TSFrameHead Head;
  Head.Kind = Wire::TEFrame::eAcknowledged;
  Head.Mailbox = kMailbox;
  Head.Number = Number;
  Send(Wire::TCFrame(Head));
}

void TScriptedRouter::Publish(std::uint64_t Previous, std::uint64_t Sequence, Wire::TEWhose Whose,
                              int Value) {
  Send(Wire::TCFrame(PublishedHead(Previous, Sequence, Whose), OneRecord(eNorvEvent, Value)));
}

void TScriptedRouter::PublishTogether(std::uint64_t Previous, std::uint64_t Sequence,
                                      std::vector<int> const& Values) {
  Wire::TCFrame Frame(PublishedHead(Previous, Sequence, Wire::TEWhose::eAnothers),
                      OneRecord(eNorvEvent, Values.at(0)));
  for (std::size_t Place = 1; Place < Values.size(); ++Place) {
    Frame.Append(OneRecord(eNorvEvent, Values[Place]));
  }
  Send(Frame);
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
