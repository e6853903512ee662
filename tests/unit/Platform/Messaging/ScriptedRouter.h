// SPDX-License-Identifier: MIT
// A router that does what a test says: for what a proxy writes, frame by frame.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "MessagingFixture.h"
#include "Platform/Messaging/Wire/FrameSocket.h"

/// Serves one connection after the other. Answers greetings, remembers what else it is sent and
/// does nothing about it by itself.
class TScriptedRouter {
 public:
  struct TMessage {
    Wire::TEFrame Kind;
    std::uint64_t First = 0;  // number of the first mail
    std::vector<int> Values;  // first number of each mail's records
  };
  using TOnMessage = std::function<void(TScriptedRouter&, TMessage const&)>;

  /// `OnMessage` runs on the router's thread, after each frame.
  explicit TScriptedRouter(std::string const& Path, TOnMessage OnMessage = nullptr);
  TScriptedRouter(TScriptedRouter const&) = delete;
  TScriptedRouter& operator=(TScriptedRouter const&) = delete;
  ~TScriptedRouter();

  /// For OnMessage only.
  void Acknowledge(std::uint64_t Number);
  /// One record with number `Value`, as mail `Sequence` of an epoch of the script's own.
  void Publish(std::uint64_t Previous, std::uint64_t Sequence, Wire::TEWhose Whose, int Value);
  /// Records with these numbers, the first as mail `Sequence`, in one frame.
  void PublishTogether(std::uint64_t Previous, std::uint64_t Sequence,
                       std::vector<int> const& Values);
  /// Whatever the proxy will make of it.
  void SendBytes(std::string const& Bytes);
  void EndConnection() { m_ConnectionEnds = true; }

  /// The frames with mails, once `Count` mails have come in them.
  std::vector<TMessage> WaitForMails(std::size_t Count);

  TLog<TMessage> m_Messages;
  TLog<int> m_Values;  // of all mails

 private:
  void Run();
  void Process();
  void Take(Wire::TCFrameView const& Frame);
  void Send(Wire::TCFrame const& Frame);

  TOnMessage const m_OnMessage;
  TCFileDescriptor m_Socket;
  TCFileDescriptor m_Wake;
  TCFileDescriptor m_Connection;
  Wire::TCFrameReceiver m_Receiver;
  bool m_ConnectionEnds = false;
  bool m_Ending = false;
  std::thread m_Thread;
};
