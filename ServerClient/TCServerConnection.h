// SPDX-License-Identifier: MIT
// A program's connection to the property server.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Messaging/TCNorvServiceProxy.h"

namespace Property {

/// One proxy, connected when it is first needed. What fails throws TCServerFailure, which tells a
/// server that is not there from one that refuses and one that does not answer in time.
/// Used by one thread; the listener is called by the proxy's.
class TCServerConnection {
 public:
  /// What hears of published mails and of the connection. Throws nothing.
  struct TSListener {
    std::function<void(TCNorvMessage const&)> OnMail;
    std::function<void(bool Reachable)> OnState;
  };

  explicit TCServerConnection(std::string const& Address);
  TCServerConnection(TCServerConnection const&) = delete;
  TCServerConnection& operator=(TCServerConnection const&) = delete;
  ~TCServerConnection();

  /// Before the first use.
  void SetListener(TSListener Listener);

  /// For who would rather do without the server than wait: milliseconds until it has to be reached
  /// and to have answered, instead of 2 seconds and a minute.
  void set_Patience(int Milliseconds) { m_ReachTime = m_AnswerTime = Milliseconds; }
  /// Waits until the server is there.
  void Reach();
  /// Whether a server is there now. Waits for its greeting only, for a second at most.
  bool IsThere();
  /// Whether the server is reached, or is within the time; for who keeps the connection over ends
  /// of the server.
  bool IsReachedWithin(int Milliseconds);
  /// Sends a request; its answer replaces it.
  void Ask(TCNorvMessage& Mail);
  /// Sends a mail without waiting for it to be stored.
  void Send(TSNorvMailContent const& Content);
  /// Waits until all that was sent is stored or refused; -1 waits without limit.
  void WaitUntilStored(int Milliseconds);
  /// Runs `Load`, which asks for the state of all values, and has every change of `MailClass` that
  /// comes after that state told to the listener, and none before `Load` has returned.
  void Follow(TCNorvMailClassID const& MailClass, std::function<void()> const& Load);
  /// Ends the connection: the listener hears nothing more.
  void Close();

  std::string const& get_Address() const { return m_Address; }

 private:
  class TCProxy;
  struct TSAnswerEnd;

  TCProxy& Proxy();
  [[noreturn]] void ThrowUnreached();

  std::string const m_Address;
  TSListener m_Listener;
  std::unique_ptr<TCProxy> m_Proxy;
  bool m_HoldsNext = false;  // the answer of the next request
  std::optional<TCNorvServiceProxy::TCAnswerInHand> m_Answer;
  int m_ReachTime = 2000;    // milliseconds
  int m_AnswerTime = 60000;  // what looks through very many values takes its time
};

}  // namespace Property
