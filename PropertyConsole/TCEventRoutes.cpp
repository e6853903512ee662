// SPDX-License-Identifier: MIT
// Hands connections over to the streams.
#include "PropertyConsole/TCEventRoutes.h"

#include <utility>

#include "PropertyConsole/JSONAnswers.h"
#include "PropertyConsole/QueryParts.h"

namespace Property {
namespace {

constexpr char kEventsPath[] = "/api/v1/events";
constexpr char kLastEvent[] = "last-event-id";
constexpr std::size_t kMostStreams = 512;
constexpr std::size_t kMostStreamsOfUser = 256;

// A browser that comes back knows better than the address that it began with.
std::optional<std::string> LastEventOf(TSRequest const& Request) {
  auto const Header = Request.Headers.find(kLastEvent);
  if (Header != Request.Headers.end()) {
    return Header->second;
  }
  auto const Part = Request.Query.find(kLastEvent);
  return Part != Request.Query.end() ? std::optional(Part->second) : std::nullopt;
}

}  // namespace

TCEventRoutes::TCEventRoutes(TCConsoleStore const& Store, TCEventStreams& Streams)
    : m_Store(Store),
      m_Streams(Streams),
      m_Places(std::make_shared<TCStreamPlaces>(kMostStreams, kMostStreamsOfUser)) {}

void TCEventRoutes::AddTo(TCRoutes& Routes) {
  Routes.Add({"GET", kEventsPath, TERole::eViewer,
              [this](TSCall const& Call) { return GetEvents(Call); }});
}

TCRoutes TCEventRoutes::Listed() {
  TCRoutes Routes;
  Routes.Add({"GET", kEventsPath, TERole::eViewer, nullptr});
  return Routes;
}

// Who does not say what he knows begins with what comes from now on.
TSAnswer TCEventRoutes::GetEvents(TSCall const& Call) {
  TCQueryParts Query(Call.Request, {"device", kLastEvent});
  std::string const Device = Query.Device("device");
  if (Query.IsWrong()) {
    return Query.get_Problem();
  }
  TSStreamStart Start;
  Start.Place = m_Places->Take(Call.Session.User);
  if (Start.Place == nullptr) {
    return ProblemAnswer(503, "too_many_streams", "Too many pages listen already.");
  }
  Start.User = Call.Session.User;
  Start.Role = Call.Session.Role;
  Start.Token = Call.Token;
  Start.Device = Device.empty() ? m_Store.get_OwnDevice() : Device;
  std::uint64_t const Now = m_Store.get_Changes().get_Last();
  auto const LastEvent = LastEventOf(Call.Request);
  Start.After = LastEvent ? m_Store.NumberIn(*LastEvent) : Now;
  if (Start.After && (*Start.After > Now || !m_Streams.Knows(*Start.After))) {
    Start.After = std::nullopt;
  }
  TSAnswer Answer;
  Answer.ContentType = "text/event-stream";
  Answer.Continue = [this, Start = std::move(Start)](std::unique_ptr<TCTransport> Transport) {
    m_Streams.Add(std::move(Transport), Start);
  };
  return Answer;
}

}  // namespace Property
