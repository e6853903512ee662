// SPDX-License-Identifier: MIT
// The command's connection to the property server.
#pragma once

#include <memory>
#include <string>

#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"

namespace Property {

/// One proxy, connected when it is first needed. What fails throws TCToolFailure, which tells a
/// server that is not there from one that refuses and one that does not answer in time.
class TCServerConnection {
 public:
  explicit TCServerConnection(std::string const& Address);
  TCServerConnection(TCServerConnection const&) = delete;
  TCServerConnection& operator=(TCServerConnection const&) = delete;
  ~TCServerConnection();

  /// Waits for the server for 2 seconds at most.
  void Reach();
  /// Whether a server is there; what it is asked may still be refused.
  bool IsReached();
  /// Sends a request; its answer replaces it.
  void Ask(TCNorvMessage& Mail);
  /// Sends a mail without waiting for it to be stored.
  void Send(TCNorvMessage& Mail);
  /// Waits until all that was sent is stored or refused.
  void WaitUntilStored(int Timeout);

  std::string const& get_Address() const { return m_Address; }

 private:
  TCNorvServiceProxy& Proxy();
  [[noreturn]] void ThrowUnreached();

  std::string const m_Address;
  std::unique_ptr<TCNorvServiceProxy> m_Proxy;
};

}  // namespace Property
