// SPDX-License-Identifier: MIT
// Checks passwords, at a limited rate, and opens and closes sessions.
#include "PropertyConsole/TCSessionRoutes.h"

#include <nlohmann/json.hpp>

#include "Platform/Utility/SystemLog.h"
#include "PropertyConsole/JSONAnswers.h"
#include "PropertyConsole/TCListener.h"
#include "PropertyConsole/TCUserFile.h"

namespace Property {
namespace {

constexpr char kSessionPath[] = "/api/v1/session";
constexpr std::size_t kLongestUserName = 64;
constexpr std::size_t kMostCredentials = 4096;  // bytes of who is not known yet

TSAnswer AnswerOf(TSSession const& Session) {
  return JSONAnswer({{"user", Session.User},
                     {"role", RoleName(Session.Role)},
                     {"csrf_token", Session.CSRFToken}});
}

// Of who has failed to sign in, for the log: what is no name could end the line as another would.
std::string LoggedName(std::string const& Name) {
  return TCUserFile::CheckName(Name).empty() ? "\"" + Name + "\"" : "a user with no possible name";
}

}  // namespace

TCSessionRoutes::TCSessionRoutes(TCGate const& Gate, TCSessions& Sessions, TCUsers& Users,
                                 TSConsoleCounters& Counters)
    : m_Gate(Gate),
      m_Sessions(Sessions),
      m_Users(Users),
      m_Counters(Counters),
      m_ByAddress({}),
      m_ByUser({}) {}

void TCSessionRoutes::AddTo(TCRoutes& Routes) {
  Routes.Add({"POST", kSessionPath, std::nullopt,
              [this](TSCall const& Call) { return SignIn(Call); }, kMostCredentials});
  Routes.Add({"GET", kSessionPath, TERole::eViewer,
              [](TSCall const& Call) { return AnswerOf(Call.Session); }});
  Routes.Add({"DELETE", kSessionPath, TERole::eViewer,
              [this](TSCall const& Call) { return SignOut(Call); }});
}

// The attempt counts before its password is looked at, so that many at once are no way around.
TSAnswer TCSessionRoutes::SignIn(TSCall const& Call) {
  TSAnswer Wrong;
  auto const Object = ReadObject(Call.Request, Wrong);
  if (!Object) {
    return Wrong;
  }
  auto const Name = TextMember(*Object, "user");
  auto const Password = TextMember(*Object, "password");
  if (!Name || !Password || Name->size() > kLongestUserName) {
    return ProblemAnswer(400, "no_credentials", "The members user and password have to be texts.");
  }
  std::string const& Peer = Call.Request.Peer;
  if (!m_ByAddress.Take(TCListener::NetworkOf(Peer)) || !m_ByUser.Take(*Name)) {
    ++m_Counters.SlowedSignIns;
    TSAnswer Answer = ProblemAnswer(429, "too_many_attempts",
                                    "There were too many attempts; try again in half a minute.");
    Answer.Headers.emplace_back("Retry-After", "30");
    return Answer;
  }
  if (auto const User = m_Users.SignIn(*Name, *Password)) {
    return Open(*Name, *User, Peer);
  }
  ++m_Counters.FailedSignIns;
  SyslogWarning("Sign-in of %s from %s has failed", LoggedName(*Name).c_str(), Peer.c_str());
  return ProblemAnswer(401, "sign_in_failed", "There is no such user, or the password is wrong.");
}

TSAnswer TCSessionRoutes::Open(std::string const& Name, TSUser const& User,
                               std::string const& Peer) {
  m_ByAddress.Forget(TCListener::NetworkOf(Peer));
  m_ByUser.Forget(Name);
  auto const Token = m_Sessions.Open(Name, User.Role, User.Hash);
  auto const Session = Token ? m_Sessions.Use(*Token) : std::nullopt;
  if (!Session) {
    return ProblemAnswer(503, "too_many_sessions", "Too many others have signed in; try later.");
  }
  ++m_Counters.SignIns;
  SyslogWarning("%s has signed in from %s", Name.c_str(), Peer.c_str());
  TSAnswer Answer = AnswerOf(*Session);
  Answer.Headers.emplace_back("Set-Cookie", m_Gate.CookieOf(*Token));
  return Answer;
}

TSAnswer TCSessionRoutes::SignOut(TSCall const& Call) {
  m_Sessions.Close(Call.Token);
  TSAnswer Answer;
  Answer.Status = 204;
  Answer.Headers.emplace_back("Set-Cookie", m_Gate.CookieOf(""));
  return Answer;
}

}  // namespace Property
