// SPDX-License-Identifier: MIT
// The other end of the connection while a change's instructions are counted: a router that keeps
// up. It runs beside callgrind, so that nothing of its own is counted.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <string>

#include "Platform/Messaging/Wire/FrameSocket.h"
#include "Platform/Utility/TCException.h"
#include "benchmarks/instructions/ChangePeer.h"

namespace {

constexpr std::uint64_t kEpoch = 7;

class TCPeer {
 public:
  explicit TCPeer(int Listening) : m_Connection(accept(Listening, nullptr, nullptr)) {}

  void Run() {
    for (;;) {
      std::array<pollfd, 2> Files = {
          {{m_Connection.get(), POLLIN, 0}, {ChangePeer::kCommands, POLLIN, 0}}};
      poll(Files.data(), Files.size(), -1);
      if (Files[0].revents != 0 && !Take()) {
        return;
      }
      if (Files[1].revents != 0) {
        Obey();
      }
    }
  }

 private:
  bool Take() {
    if (m_Receiver.Receive(m_Connection.get(), true) != Wire::TETransfer::eDone) {
      return false;
    }
    Wire::TCFrameView const Frame(m_Receiver.get_Bytes(), m_Receiver.get_File());
    Wire::TSFrameHead const& Head = Frame.get_Head();
    Wire::TSFrameHead Answer;
    switch (Head.Kind) {
      case Wire::TEFrame::eHello:
        Answer.Kind = Wire::TEFrame::eWelcome;
        Answer.Version = Wire::kProtocolVersion;
        Send(Wire::TCFrame(Answer));
        break;
      case Wire::TEFrame::eRequest:
        Answer.Kind = Wire::TEFrame::eAnswer;
        Answer.Request = Head.Request;
        Answer.Position = {kEpoch, 0};
        Send(Wire::TCFrame(Answer, {Frame.get_Class(), 2, 1, TCNorvMailBody::Empty()}));
        break;
      case Wire::TEFrame::eMails:
        m_LastMail = Head.Number + Frame.get_Count() - 1;
        m_Mailbox = std::string(Head.Mailbox);
        Say();
        break;
      default:
        break;
    }
    return true;
  }

  void Obey() {
    ChangePeer::TSCommand Command;
    if (read(ChangePeer::kCommands, &Command, sizeof(Command)) != sizeof(Command)) {
      std::exit(0);
    }
    Wire::TSFrameHead Head;
    Head.Mailbox = m_Mailbox;
    if (Command.Number == ChangePeer::kAcknowledge) {
      Head.Kind = Wire::TEFrame::eAcknowledged;
      Head.Number = m_LastMail;
      Send(Wire::TCFrame(Head));
      return;
    }
    Head.Kind = Wire::TEFrame::ePublished;
    Head.Class = "property";
    Head.Version = 2;
    Head.Previous = m_Sequence;
    Head.Position = {kEpoch, ++m_Sequence};
    Send(Wire::TCFrame(Head, {TCNorvMailClassID("property", 2), 4, 1, ValueOf(Command)}));
  }

  static std::shared_ptr<TCNorvMailBody const> ValueOf(ChangePeer::TSCommand const& Command) {
    TCNorvMailBody::TCWriter Writer("isssb");
    std::string const Data = std::to_string(Command.Value);
    Writer.BeginRecord(0b11011);
    Writer.AppendField({true, 'i', Command.Number, {}});
    Writer.AppendField({true, 's', 0, Data});
    Writer.AppendField({false, 's', 0, {}});
    Writer.AppendField({true, 's', 0, ChangePeer::kDevice});
    Writer.AppendField({true, 'b', 0, {}});
    return Writer.Finish();
  }

  void Send(Wire::TCFrame const& Frame) { Wire::Send(m_Connection.get(), Frame); }

  static void Say() {
    char const Byte = 0;
    if (write(ChangePeer::kReports, &Byte, sizeof(Byte)) != sizeof(Byte)) {
      std::exit(1);
    }
  }

  TCFileDescriptor const m_Connection;
  Wire::TCFrameReceiver m_Receiver;
  std::string m_Mailbox;
  std::uint64_t m_LastMail = 0;
  std::uint64_t m_Sequence = 0;
};

}  // namespace

int main() {
  TCPeer(ChangePeer::kListening).Run();
}
