// SPDX-License-Identifier: MIT
// Takes connections and has the HTTP library read and write on them.
#include "PropertyConsole/TCHTTPServer.h"

#include <httplib.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <exception>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "PropertyConsole/TCBoundedStream.h"
#include "PropertyConsole/TCWorkers.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyConsole/TCHTTPServer";
constexpr int kRestTime = 100;  // milliseconds, when the system has no descriptors left
// What is left to a request that has waited for a thread, once some of it has come.
constexpr std::chrono::milliseconds kLeastReadTime{1000};
// Those that are sent away are closed some time later: their answer is lost where they are closed
// before they have sent all.
constexpr std::chrono::milliseconds kParting{1000};
constexpr std::size_t kMostParting = 64;

// In small letters, of ASCII.
std::string LowerName(std::string Name) {
  std::transform(Name.begin(), Name.end(), Name.begin(), [](char Letter) {
    return Letter >= 'A' && Letter <= 'Z' ? static_cast<char>(Letter - 'A' + 'a') : Letter;
  });
  return Name;
}

// All but the body.
TSRequest HeadOf(httplib::Request const& Read, std::string const& Peer) {
  TSRequest Request;
  Request.Method = Read.method;
  Request.Path = Read.path;
  Request.Query.insert(Read.params.begin(), Read.params.end());
  for (auto const& [Name, Value] : Read.headers) {
    Request.Headers.emplace(LowerName(Name), Value);
  }
  Request.Peer = Peer;
  return Request;
}

// For whom the library writes nothing.
std::string Spelled(TSAnswer const& Answer, char const* Reason) {
  std::string Text = "HTTP/1.1 " + std::to_string(Answer.Status) + " " + Reason + "\r\n";
  for (auto const& [Name, Value] : Answer.Headers) {
    Text.append(Name).append(": ").append(Value).append("\r\n");
  }
  return Text + "Content-Type: " + Answer.ContentType +
         "\r\nContent-Length: " + std::to_string(Answer.Body.size()) +
         "\r\nConnection: close\r\n\r\n" + Answer.Body;
}

bool HasSentAnything(int Socket) {
  pollfd File{Socket, POLLIN, 0};
  return poll(&File, 1, 0) != 0;
}

void Write(TSAnswer const& Answer, httplib::Response& Response) {
  Response.status = Answer.Status;
  if (Answer.Continue) {
    // Of no length, and ended here: what follows is not the library's.
    Response.set_content_provider(Answer.ContentType, [](std::size_t, httplib::DataSink& Sink) {
      Sink.done();
      return true;
    });
  } else if (!Answer.Body.empty()) {
    Response.set_content(Answer.Body, Answer.ContentType);
  }
  for (auto const& [Name, Value] : Answer.Headers) {
    Response.set_header(Name, Value);
  }
}

}  // namespace

// The HTTP library's part: it parses a request, has it answered and writes the answer. It routes by
// regular expressions, which take stack for every byte of a path; therefore it sees one path only.
class TCHTTPServer::TCProtocol : public httplib::Server {
 public:
  TCProtocol(TSHTTPLimits const& Limits, TSHTTPHandlers Functions)
      : m_Limits(Limits), m_Handlers(std::move(Functions)) {
    set_payload_max_length(Limits.BodyBytes);
    set_pre_routing_handler(
        [this](auto const& Read, auto& Response) { return LookAt(Read, Response); });
    set_error_handler([this](auto const&, auto& Response) { Explain(Response); });
    set_exception_handler([this](auto const&, auto& Response, std::exception_ptr const& Failure) {
      Log(Failure);
      Write(m_Handlers.Complain(500), Response);
    });
    auto const Answer = [this](auto const& Read, auto& Response) { Reply(Read, Response); };
    Get("/", Answer);
    Post("/", Answer);
    Put("/", Answer);
    Delete("/", Answer);
    Patch("/", Answer);
    Options("/", Answer);
  }

  std::string get_BusyText() const {
    return Spelled(m_Handlers.Complain(503), "Service Unavailable");
  }

  /// True when the connection has been given away.
  bool Serve(TCBoundedStream& Stream, std::string const& Peer) {
    TSWork Work{Stream, Peer, {}, nullptr};
    m_Work = &Work;
    bool IsClosed = false;
    bool const IsAnswered =
        process_request(Stream, true, IsClosed, [&Work](httplib::Request& Read) {
          Work.Head = HeadOf(Read, Work.Peer);
          Read.path = "/";
          Read.ranges.clear();
          // The answer is written as it is: what is compressed beside a secret can betray it.
          Read.headers.erase("Accept-Encoding");
        });
    if (!IsAnswered && Stream.HasSentTooMuch()) {
      Stream.httplib::Stream::write(Spelled(m_Handlers.Complain(414), "URI Too Long"));
    }
    m_Work = nullptr;
    bool const GoesOn = IsAnswered && Work.Continue != nullptr;
    if (GoesOn) {
      Work.Continue(Stream.Release());
    }
    return GoesOn;
  }

 private:
  // What the thread is at.
  struct TSWork {
    TCBoundedStream& Stream;
    std::string const& Peer;
    TSRequest Head;
    std::function<void(std::unique_ptr<TCTransport>)> Continue;
  };

  HandlerResponse LookAt(httplib::Request const& Read, httplib::Response& Response) {
    auto Refused = RefuseBody(Read);
    if (!Refused) {
      Refused = m_Handlers.Refuse(m_Work->Head);
    }
    if (Refused) {
      Write(*Refused, Response);
      return HandlerResponse::Handled;
    }
    m_Work->Stream.AllowBody(m_Limits.BodyBytes);
    return HandlerResponse::Unhandled;
  }

  // A body is announced with its length, in one way, or refused before it is read.
  std::optional<TSAnswer> RefuseBody(httplib::Request const& Read) const {
    if (Read.has_header("Transfer-Encoding") || Read.has_header("Content-Encoding")) {
      return m_Handlers.Complain(411);
    }
    std::size_t const Count = Read.get_header_value_count("Content-Length");
    bool const NeedsLength =
        Read.method == "POST" || Read.method == "PUT" || Read.method == "PATCH";
    if (Count == 0) {
      return NeedsLength ? std::optional(m_Handlers.Complain(411)) : std::nullopt;
    }
    std::string const Length = Read.get_header_value("Content-Length");
    constexpr std::size_t kMostDigits = 18;
    if (Count > 1 || Length.empty() ||
        Length.find_first_not_of("0123456789") != std::string::npos) {
      return m_Handlers.Complain(400);
    }
    if (Length.size() > kMostDigits || std::stoull(Length) > m_Limits.BodyBytes) {
      return m_Handlers.Complain(413);
    }
    return std::nullopt;
  }

  void Reply(httplib::Request const& Read, httplib::Response& Response) const {
    m_Work->Head.Body = Read.body;
    TSAnswer const Answer = m_Handlers.Answer(m_Work->Head);
    Write(Answer, Response);
    if (Read.method == "GET") {
      m_Work->Continue = Answer.Continue;
    }
  }

  // What the library refuses by itself has no body.
  void Explain(httplib::Response& Response) const {
    if (!Response.body.empty()) {
      return;
    }
    if (m_Work->Stream.IsLate()) {
      Response.status = 408;
    } else if (m_Work->Stream.HasSentTooMuch()) {
      Response.status = 431;
    }
    Write(m_Handlers.Complain(Response.status), Response);
  }

  static void Log(std::exception_ptr const& Failure) {
    try {
      std::rethrow_exception(Failure);
    } catch (std::exception const& Exception) {
      SyslogError("A request has failed: %s", PrintableLine(Exception.what()).c_str());
    } catch (...) {
      SyslogError("A request has failed");
    }
  }

  static thread_local TSWork* m_Work;

  TSHTTPLimits const m_Limits;
  TSHTTPHandlers const m_Handlers;
};

thread_local TCHTTPServer::TCProtocol::TSWork* TCHTTPServer::TCProtocol::m_Work = nullptr;

TCHTTPServer::TCHTTPServer(std::string const& Address, unsigned Port, TSHTTPLimits const& Limits,
                           TSHTTPHandlers Handlers, TCMakeTransport MakeTransport)
    : m_Limits(Limits),
      m_MakeTransport(std::move(MakeTransport)),
      m_Listener(Address, Port),
      m_StopFile(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_Protocol(std::make_unique<TCProtocol>(Limits, std::move(Handlers))) {
  if (m_StopFile.get() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("the system has no descriptor left: %s", std::strerror(errno));
  }
}

TCHTTPServer::~TCHTTPServer() = default;

void TCHTTPServer::Stop() noexcept {
  std::uint64_t const One = 1;
  while (write(m_StopFile.get(), &One, sizeof(One)) < 0 && errno == EINTR) {
  }
}

void TCHTTPServer::Run() {
  TCWorkers Workers(m_Limits.Threads, m_Limits.WaitingConnections);
  pollfd Files[] = {{m_Listener.get_Socket(), POLLIN, 0}, {m_StopFile.get(), POLLIN, 0}};
  while (Files[1].revents == 0) {
    poll(Files, 2, m_Parting.empty() ? -1 : static_cast<int>(kParting.count()));
    bool IsFull = false;
    if (auto Connection = m_Listener.Accept(IsFull)) {
      auto const Shared = std::make_shared<TCListener::TSConnection>(std::move(*Connection));
      auto const Accepted = std::chrono::steady_clock::now();
      if (!Workers.Add([this, Shared, Accepted] { Serve(*Shared, Accepted); })) {
        SendAway(std::move(*Shared));
      }
    }
    ClosePartings();
    if (IsFull) {
      poll(&Files[1], 1, kRestTime);
    }
  }
}

// A request's time begins when it is accepted: those who send nothing take no thread's time,
// however many of them wait.
void TCHTTPServer::Serve(TCListener::TSConnection& Connection, TCTime Accepted) {
  std::chrono::milliseconds const All(m_Limits.ReadTime);
  auto const Left = std::chrono::ceil<std::chrono::milliseconds>(Accepted + All -
                                                                 std::chrono::steady_clock::now());
  if (Left.count() <= 0 && !HasSentAnything(Connection.Socket.get())) {
    return;
  }
  TCBoundedStream Stream(m_MakeTransport(std::move(Connection.Socket)), Connection.Peer,
                         m_StopFile.get(),
                         {m_Limits.HeadBytes, std::max(Left, std::min(All, kLeastReadTime)),
                          std::chrono::milliseconds(m_Limits.WriteTime)});
  if (!m_Protocol->Serve(Stream, Connection.Peer)) {
    Stream.Finish();
  }
}

// In plain words even where the others are encrypted: nothing is spent on whom there is no time
// for.
void TCHTTPServer::SendAway(TCListener::TSConnection Connection) {
  std::string const Text = m_Protocol->get_BusyText();
  send(Connection.Socket.get(), Text.data(), Text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  shutdown(Connection.Socket.get(), SHUT_WR);
  m_Parting.emplace_back(std::move(Connection.Socket), std::chrono::steady_clock::now());
}

void TCHTTPServer::ClosePartings() {
  auto const Now = std::chrono::steady_clock::now();
  while (!m_Parting.empty() &&
         (m_Parting.size() > kMostParting || Now - m_Parting.front().second >= kParting)) {
    m_Parting.pop_front();
  }
}

}  // namespace Property
