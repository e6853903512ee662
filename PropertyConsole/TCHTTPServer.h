// SPDX-License-Identifier: MIT
// Serves HTTP requests within limits.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "Platform/Utility/TCFileDescriptor.h"
#include "PropertyConsole/TCListener.h"
#include "PropertyConsole/TCTransport.h"
#include "PropertyConsole/TSRequest.h"

namespace Property {

struct TSHTTPLimits {
  std::size_t Threads = 8;                ///< requests that are served at once
  std::size_t WaitingConnections = 1280;  ///< further ones are sent away
  std::size_t HeadBytes = std::size_t{16} << 10;
  std::size_t BodyBytes = std::size_t{4} << 20;
  int ReadTime = 10000;   ///< milliseconds, for a whole request, waiting included
  int WriteTime = 60000;  ///< milliseconds, for a whole answer
};

/// What a server does with requests. The functions are called by several threads at once; what they
/// throw is answered by `Complain`.
struct TSHTTPHandlers {
  /// Looks at the head of a request, before its body is read: the answer to one that is refused.
  std::function<std::optional<TSAnswer>(TSRequest const&)> Refuse;
  std::function<TSAnswer(TSRequest const&)> Answer;
  /// The answer to what is no request, or fails: a status from 400 on.
  std::function<TSAnswer(int Status)> Complain;
};

/// Each connection is for one request: none waits for further ones, and a thread is busy only while
/// a request comes or is answered (docs/decisions/0026-one-request-a-connection.md).
class TCHTTPServer {
 public:
  /// Makes a connection's transport of its socket.
  using TCMakeTransport = std::function<std::unique_ptr<TCTransport>(TCFileDescriptor)>;

  /// Listens from now on. Throws TCException when that is not possible.
  TCHTTPServer(std::string const& Address, unsigned Port, TSHTTPLimits const& Limits,
               TSHTTPHandlers Handlers, TCMakeTransport MakeTransport);
  TCHTTPServer(TCHTTPServer const&) = delete;
  TCHTTPServer& operator=(TCHTTPServer const&) = delete;
  ~TCHTTPServer();

  /// Serves until Stop() is called; then requests that are still coming are cut off, and those that
  /// are being answered get their answers.
  void Run();
  /// May be called by every thread, before Run() too, and by a signal's handler.
  void Stop() noexcept;

  unsigned get_Port() const { return m_Listener.get_Port(); }

 private:
  class TCProtocol;

  using TCTime = std::chrono::steady_clock::time_point;

  void Serve(TCListener::TSConnection& Connection, TCTime Accepted);
  void SendAway(TCListener::TSConnection Connection);
  void ClosePartings();

  TSHTTPLimits const m_Limits;
  TCMakeTransport const m_MakeTransport;
  TCListener const m_Listener;
  TCFileDescriptor const m_StopFile;
  std::unique_ptr<TCProtocol> const m_Protocol;
  std::deque<std::pair<TCFileDescriptor, TCTime>> m_Parting;  // sent away; of Run() alone
};

}  // namespace Property
