// SPDX-License-Identifier: MIT
// A router that does what a test says: for what a proxy writes, message by message.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "MessagingFixture.h"
#include "Platform/Messaging/BusHandles.h"
#include "Platform/Messaging/MailWire.h"
#include "Platform/Utility/TCFileDescriptor.h"

/// Serves one connection after the other. Answers greetings, remembers what else it is sent and
/// does nothing about it by itself.
class TScriptedRouter {
 public:
  struct TMessage {
    std::string Member;
    std::uint64_t First = 0;  // number of the first mail
    std::vector<int> Values;  // first number of each mail's records
  };
  using TOnMessage = std::function<void(TScriptedRouter&, TMessage const&)>;

  /// `OnMessage` runs on the router's thread, after each message.
  explicit TScriptedRouter(std::string const& Path, TOnMessage OnMessage = nullptr,
                           std::uint32_t Version = MailWire::kProtocolVersion);
  TScriptedRouter(TScriptedRouter const&) = delete;
  TScriptedRouter& operator=(TScriptedRouter const&) = delete;
  ~TScriptedRouter();

  /// For OnMessage only.
  void Acknowledge(std::uint64_t Number);
  /// One record with number `Value`, as mail `Sequence` of an epoch of the script's own.
  void Publish(std::uint64_t Previous, std::uint64_t Sequence, MailWire::TEWhose Whose, int Value);
  void EndConnection() { m_ConnectionEnds = true; }

  /// The messages, once `Count` mails have come in them.
  std::vector<TMessage> WaitForMails(std::size_t Count);

  TLog<TMessage> m_Messages;
  TLog<int> m_Values;  // of all mails

 private:
  void Run();
  void Accept();
  void Process();
  static int OnFilter(sd_bus_message* Message, void* Router, sd_bus_error* Error);
  void Take(sd_bus_message* Message);
  static TMessage Read(sd_bus_message* Message);

  TOnMessage const m_OnMessage;
  std::uint32_t const m_Version;
  TCFileDescriptor m_Socket;
  TCFileDescriptor m_Wake;
  TCBusHandle m_Bus;
  bool m_ConnectionEnds = false;
  bool m_Ending = false;
  std::thread m_Thread;
};
