// SPDX-License-Identifier: MIT
// Routes requests and guards answers.
#include "PropertyConsole/TCConsole.h"

#include <algorithm>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "PropertyConsole/JSONAnswers.h"
#include "PropertyConsole/OpenAPI.h"
#include "PropertyConsole/QueryParts.h"

namespace Property {
namespace {

TSSessionLimits LimitsOf(TSConsoleSettings const& Settings) {
  TSSessionLimits Limits;
  Limits.Idle = std::chrono::seconds(Settings.IdleSeconds);
  Limits.Life = std::chrono::seconds(Settings.SessionSeconds);
  Limits.Count = Settings.Sessions;
  return Limits;
}

// What no page of the console needs is forbidden to all of them. An answer may say otherwise.
constexpr std::pair<char const*, char const*> kGuards[] = {
    {"Content-Security-Policy",
     "default-src 'none'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Permissions-Policy", "camera=(), geolocation=(), microphone=(), payment=(), usb=()"},
    {"Cache-Control", "no-store"},
};

bool HasHeader(TSAnswer const& Answer, char const* Wanted) {
  return std::any_of(Answer.Headers.begin(), Answer.Headers.end(),
                     [Wanted](auto const& Header) { return Header.first == Wanted; });
}

// The refusal of an address or method that there is not.
TSAnswer RefuseUnknown(TCRoutes::TSMatch const& Match) {
  if (Match.Methods.empty()) {
    return StatusAnswer(404);
  }
  TSAnswer Answer =
      ProblemAnswer(405, "no_such_method", "This address takes " + Match.Methods + " alone.");
  Answer.Headers.emplace_back("Allow", Match.Methods);
  return Answer;
}

}  // namespace

TCConsole::TCConsole(TSConsoleSettings const& Settings)
    : m_IsEncrypted(!Settings.Certificate.empty()),
      m_Users(Settings.Users),
      m_Sessions(LimitsOf(Settings)),
      m_Gate(Settings.Names, m_IsEncrypted, m_Sessions, m_Users),
      m_SessionRoutes(m_Gate, m_Sessions, m_Users, m_Counters) {
  m_SessionRoutes.AddTo(m_Routes);
  m_Routes.Add({"GET", "/api/v1/openapi.json", std::nullopt, [](TSCall const& /*Call*/) {
                  TSAnswer Answer;
                  Answer.Body = kOpenAPI;
                  return Answer;
                }});
}

std::optional<TSAnswer> TCConsole::Refuse(TSRequest const& Request) const {
  if (auto Refused = m_Gate.RefuseHost(Request)) {
    return Guard(std::move(*Refused));
  }
  auto const Match = m_Routes.Find(Request.Method, Request.Path);
  if (Match.Route == nullptr) {
    return Guard(RefuseUnknown(Match));
  }
  TSSession Session;
  std::string Token;
  auto Refused = m_Gate.Refuse(Request, *Match.Route, Session, Token);
  auto const Length = ReadNumber(Request.Header("content-length")).value_or(0);
  if (!Refused && Length > static_cast<long long>(Match.Route->MostBody)) {
    Refused = StatusAnswer(413);
  }
  return Refused ? std::optional(Guard(std::move(*Refused))) : std::nullopt;
}

// Checked once more: the session may have ended while the body came.
TSAnswer TCConsole::Answer(TSRequest const& Request) const {
  auto const Match = m_Routes.Find(Request.Method, Request.Path);
  if (Match.Route == nullptr) {
    return Guard(RefuseUnknown(Match));
  }
  TSSession Session;
  std::string Token;
  if (auto Refused = m_Gate.Refuse(Request, *Match.Route, Session, Token)) {
    return Guard(std::move(*Refused));
  }
  try {
    return Guard(Match.Route->Handler({Request, Match.Parameters, Session, Token}));
  } catch (TCServerFailure const& Failure) {
    SyslogWarning("%s: %s", Match.Route->Path.c_str(), PrintableLine(Failure.what()).c_str());
    return Guard(ServerProblem(Failure));
  }
}

TSAnswer TCConsole::Complain(int Status) const {
  return Guard(StatusAnswer(Status));
}

TSHTTPHandlers TCConsole::get_Handlers() const {
  return {[this](TSRequest const& Request) { return Refuse(Request); },
          [this](TSRequest const& Request) { return Answer(Request); },
          [this](int Status) { return Complain(Status); }};
}

// Every answer passes here once.
TSAnswer TCConsole::Guard(TSAnswer Answer) const {
  m_Counters.CountAnswer(Answer.Status);
  for (auto const& [Name, Value] : kGuards) {
    if (!HasHeader(Answer, Name)) {
      Answer.Headers.emplace_back(Name, Value);
    }
  }
  if (Answer.Status == 503 && !HasHeader(Answer, "Retry-After")) {
    Answer.Headers.emplace_back("Retry-After", "1");
  }
  if (m_IsEncrypted) {
    Answer.Headers.emplace_back("Strict-Transport-Security", "max-age=31536000");
  }
  return Answer;
}

}  // namespace Property
