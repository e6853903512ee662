// SPDX-License-Identifier: MIT
// A proxy's connection to the router: made, greeted, lost, and made again.
#pragma once

#include <sys/un.h>

#include <chrono>
#include <string>

#include "Platform/Messaging/Proxy/TCRouterWait.h"
#include "Platform/Messaging/Wire/FrameSocket.h"

/// The socket and how far the router has greeted it. Waits for nothing. Synchronised by its owner,
/// who polls the socket.
class TCProxyLink {
 public:
  using TCClock = std::chrono::steady_clock;

  enum class TEState {
    eDown,      ///< not connected; to be tried again at get_NextAttempt()
    eGreeting,  ///< the router has been greeted and has not answered
    eReady,
    eRefused,  ///< the router refuses the process, until the connection ends
  };

  /// `Identity` tells the proxy from all others. Throws TCException when no router can ever be at
  /// the address.
  TCProxyLink(std::string Address, std::string Identity);

  TEState get_State() const { return m_State; }
  bool IsReady() const { return m_State == TEState::eReady; }
  int get_File() const { return m_Socket.get(); }
  TCClock::time_point get_NextAttempt() const { return m_NextAttempt; }
  TCRouterWait& get_Wait() { return m_Wait; }
  std::string const& get_Address() const { return m_Address; }

  /// Connects and greets, or notes why not and when to try again.
  void Connect();
  /// Ends the connection, if there is one; it is tried again later.
  void Drop();
  /// Closes the socket for good: the proxy is closed, or it is the parent's, in the child of a
  /// fork.
  void Close();

  /// Sends a frame. False when it was not sent: the router has not read what it was sent before, or
  /// the connection has ended, which reading notices too. Throws std::system_error when memory or
  /// descriptors are lacking.
  bool Send(Wire::TCFrame const& Frame);
  /// Whether a frame waits until the router reads. The socket is then polled for writing, too.
  bool IsBlocked() const { return m_IsBlocked; }
  void Unblock() { m_IsBlocked = false; }
  /// Whether the router has not read all that it was sent.
  bool IsRouterBehind() const { return !Wire::HasReadAll(m_Socket.get()); }

  /// Receives the next frame. On eEnded and eBroken the connection is to be dropped.
  Wire::TETransfer Receive();
  Wire::TCFrameView get_Frame() const { return {m_Receiver.get_Bytes(), m_Receiver.get_File()}; }
  void EndFrame() { m_Receiver.CloseFile(); }
  /// The router has answered the greeting.
  void OnWelcome();
  void OnRefused(std::string Reason);

 private:
  void Greet();

  std::string const m_Address;
  std::string const m_Identity;
  sockaddr_un const m_Name;
  TEState m_State = TEState::eDown;
  bool m_IsBlocked = false;
  TCFileDescriptor m_Socket;
  Wire::TCFrameReceiver m_Receiver;
  TCRouterWait m_Wait;
  TCClock::time_point m_NextAttempt = TCClock::now();
  std::chrono::milliseconds m_RetryDelay;
};
