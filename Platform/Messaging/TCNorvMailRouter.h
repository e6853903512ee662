// SPDX-License-Identifier: MIT
// The mail router: listens on a socket, hosts mailboxes, carries mails between processes.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Platform/PlatformExport.h"
#include "Platform/Utility/TCFileDescriptor.h"

struct TSNorvMailSender;
struct TSNorvSenderKey;
class TCNorvEventLoop;
class TCNorvService;
class TCRouterCore;

/// What a router grants its peers.
struct TSNorvRouterLimits {
  unsigned Connections = 4096;
  unsigned ConnectionsPerUser = 512;
  unsigned MailsPerSecond = 250000;       ///< of one connection, which is read from more slowly
                                          ///< then; a mail counts as many as it has records
  std::chrono::seconds GreetingTime{10};  ///< from connecting until the greeting is complete
  std::size_t RecordsPerMail = 100000;    ///< a mail with more is refused before they are read
};

/// Listens on a Unix socket and serves the proxies of other processes (and of this one).
/// Runs on the thread that calls Run(); services live on that thread. The address is
/// "unix:path=...".
class PROPERTY_PLATFORM_EXPORT TCNorvMailRouter {
 public:
  /// Starts to listen, at `Address` or, when empty, at the one in MAILROUTER_ADDRESS or
  /// "unix:path=/run/mailrouter/socket". A socket that nobody serves any more is replaced.
  /// Throws TCException, saying what to do, when a living router serves the address, the folder is
  /// missing or may not be written, or the address is no Unix socket's.
  explicit TCNorvMailRouter(std::string const& Address = std::string());
  /// Serves at a Unix socket for sequenced packets that listens already, such as an init system
  /// hands over. `Address`, or what stands for it when it is empty, is what get_Address() says. The
  /// socket is closed at the end; its file stays where it is. Throws TCException when it is another
  /// kind of file or does not listen.
  explicit TCNorvMailRouter(TCFileDescriptor Listening, std::string const& Address = std::string());
  TCNorvMailRouter(TCNorvMailRouter const&) = delete;
  TCNorvMailRouter& operator=(TCNorvMailRouter const&) = delete;
  /// Ends all connections and removes a socket that was made here. The router is not running then,
  /// and its services are gone.
  ~TCNorvMailRouter();

  /// Serves until Stop(). Throws TCException when the event loop fails.
  void Run();
  /// Ends Run(), from every thread and from signal handlers of the event loop.
  void Stop();
  /// Runs `Function` on the router's thread and waits for it; at once when the router does not run
  /// or this is its thread. What it throws comes out here.
  void Execute(std::function<void()> const& Function);

  // On the router's thread:

  /// Holds for connections and mails from now on.
  void SetLimits(TSNorvRouterLimits const& Limits);
  /// Why a process may not connect; empty when it may.
  using TCAdmission = std::function<std::string(TSNorvMailSender const&)>;
  /// Whom `Admission` has a reason against is refused at its greeting, and told the reason. Without
  /// it only root and this process's user are admitted.
  void SetAdmission(TCAdmission Admission);
  /// Has the services bring the subscribers that `IsConcerned` names up to date, and all that are
  /// away when they return.
  void BringUpToDate(std::function<bool(TSNorvMailSender const&)> const& IsConcerned);
  /// The same for one subscriber, there or away.
  void BringUpToDate(TSNorvSenderKey const& Sender);
  std::size_t get_ConnectionCount() const;
  /// Whether a subscriber in that process has not been sent all that was published for it.
  bool IsBehind(pid_t Process) const;
  /// Who has greeted and is connected.
  std::vector<TSNorvSenderKey> get_Senders() const;
  /// Drawn anew for each router; what is published is numbered in it.
  std::uint64_t get_Epoch() const;

  /// The loop that Run() turns, for what else the program waits for.
  TCNorvEventLoop& get_Loop() const;
  std::string const& get_Address() const;

 private:
  friend class TCNorvService;
  std::unique_ptr<TCRouterCore> m_Core;
};
