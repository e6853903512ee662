// SPDX-License-Identifier: MIT
// The mail router: listens on a socket, hosts mailboxes, carries mails between processes.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "Platform/PlatformExport.h"

struct sd_event;
class TCNorvService;
class TCRouterCore;

/// Listens on a Unix socket and serves the proxies of other processes (and of this one).
/// Runs on the thread that calls Run(); services live on that thread. The address is
/// "unix:path=..."; a socket handed over by the init system is used instead of making one.
class PROPERTY_PLATFORM_EXPORT TCNorvMailRouter {
 public:
  /// Starts to listen, at `Address` or, when empty, at the one in MAILROUTER_ADDRESS or
  /// "unix:path=/run/mailrouter/socket". A socket that nobody serves any more is replaced.
  /// Throws TCException, saying what to do, when a living router serves the address, the folder is
  /// missing or may not be written, or the address is no Unix socket's.
  explicit TCNorvMailRouter(std::string const& Address = std::string());
  TCNorvMailRouter(TCNorvMailRouter const&) = delete;
  TCNorvMailRouter& operator=(TCNorvMailRouter const&) = delete;
  /// Ends all connections and removes the socket. The router is not running then, and its services
  /// are gone.
  ~TCNorvMailRouter();

  /// Serves until Stop(). Throws TCException when the event loop fails.
  void Run();
  /// Ends Run(), from every thread and from signal handlers of the event loop.
  void Stop();
  /// Runs `Function` on the router's thread and waits for it; at once when the router does not run
  /// or this is its thread. What it throws comes out here.
  void Execute(std::function<void()> const& Function);

  /// The loop that Run() turns, for further sources of the same program.
  sd_event* get_Event() const;
  std::string const& get_Address() const;

 private:
  friend class TCNorvService;
  std::unique_ptr<TCRouterCore> m_Core;
};
