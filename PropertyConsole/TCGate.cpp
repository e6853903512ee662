// SPDX-License-Identifier: MIT
// Checks heads of requests.
#include "PropertyConsole/TCGate.h"

#include <algorithm>
#include <utility>

#include "PropertyConsole/JSONAnswers.h"
#include "PropertyConsole/TCListener.h"
#include "PropertyConsole/Tokens.h"

namespace Property {
namespace {

// "host:80" and "[::1]:80" without port and brackets; in small letters.
std::string HostIn(std::string Text) {
  std::transform(Text.begin(), Text.end(), Text.begin(), [](char Letter) {
    return Letter >= 'A' && Letter <= 'Z' ? static_cast<char>(Letter - 'A' + 'a') : Letter;
  });
  if (!Text.empty() && Text.front() == '[') {
    return Text.substr(1, Text.find(']') - 1);
  }
  return Text.substr(0, Text.find(':'));
}

bool IsJSON(std::string const& ContentType) {
  std::string const Kind = ContentType.substr(0, ContentType.find(';'));
  return Kind == "application/json" || Kind == "application/json ";
}

}  // namespace

TCGate::TCGate(std::vector<std::string> Names, bool IsEncrypted, TCSessions& Sessions,
               TCUsers& Users)
    : m_Names(std::move(Names)), m_IsEncrypted(IsEncrypted), m_Sessions(Sessions), m_Users(Users) {}

std::optional<TSAnswer> TCGate::Refuse(TSRequest const& Request, TSRoute const& Route,
                                       TSSession& Session, std::string& Token) const {
  if (Route.Writes()) {
    if (auto Refused = RefuseWriting(Request)) {
      return Refused;
    }
  }
  if (!Route.Needed) {
    return std::nullopt;
  }
  Token = TokenIn(Request);
  auto const Found = m_Sessions.Use(Token);
  if (!Found || !IsUnchanged(*Found)) {
    m_Sessions.Close(Token);
    return ProblemAnswer(401, "not_signed_in", "Sign in first.");
  }
  if (Found->Role < *Route.Needed) {
    return ProblemAnswer(403, "role_too_low",
                         "This takes the role " + RoleName(*Route.Needed) + ".");
  }
  if (Route.Writes() && !AreSameSecret(Request.Header("x-csrf-token"), Found->CSRFToken)) {
    return ProblemAnswer(403, "csrf_token",
                         "The header X-CSRF-Token has to have the session's token.");
  }
  Session = *Found;
  return std::nullopt;
}

// Whose role or password was changed signs in again.
bool TCGate::IsUnchanged(TSSession const& Session) const {
  auto const User = m_Users.Find(Session.User);
  return User && User->Role == Session.Role && User->Hash == Session.Hash;
}

bool TCGate::IsIn(std::string const& Token, TERole Role) const {
  auto const Found = m_Sessions.Look(Token);
  return Found && Found->Role == Role && IsUnchanged(*Found);
}

std::optional<TSAnswer> TCGate::RefuseHost(TSRequest const& Request) const {
  std::string const Host = HostIn(Request.Header("host"));
  bool const IsOwn = Request.Headers.count("host") == 1 &&
                     (Host == "localhost" || TCListener::IsAddress(Host) ||
                      std::any_of(m_Names.begin(), m_Names.end(),
                                  [&Host](auto const& Name) { return HostIn(Name) == Host; }));
  return IsOwn ? std::nullopt
               : std::optional(ProblemAnswer(
                     403, "unknown_host",
                     "The console is not known by this name; see its option --host-name."));
}

// Browsers say from which page a request comes that writes; programs that are none need not.
std::optional<TSAnswer> TCGate::RefuseWriting(TSRequest const& Request) const {
  std::string const Origin = Request.Header("origin");
  std::string const Own = (m_IsEncrypted ? "https://" : "http://") + Request.Header("host");
  std::string const Site = Request.Header("sec-fetch-site");
  // Behind something that encrypts, the page's address begins otherwise than here.
  bool const IsOwn =
      Origin.empty() || Origin == Own || Origin == "https://" + Request.Header("host");
  if (!IsOwn || (!Site.empty() && Site != "same-origin" && Site != "none")) {
    return ProblemAnswer(403, "other_origin", "The request comes from a page of somebody else.");
  }
  bool const HasBody = Request.Method != "DELETE";
  if (HasBody && !IsJSON(Request.Header("content-type"))) {
    return ProblemAnswer(415, "no_json", "The request has to be of the type application/json.");
  }
  return std::nullopt;
}

std::string TCGate::CookieOf(std::string const& Token) const {
  std::string Cookie = (m_IsEncrypted ? "__Host-property=" : "property=") + Token;
  Cookie += "; Path=/; HttpOnly; SameSite=Strict";
  Cookie += m_IsEncrypted ? "; Secure" : "";
  Cookie += Token.empty() ? "; Max-Age=0" : "";
  return Cookie;
}

// Browsers send all cookies in one header, "a=b; c=d".
std::string TCGate::TokenIn(TSRequest const& Request) const {
  std::string const Name = m_IsEncrypted ? "__Host-property=" : "property=";
  std::string const Cookies = Request.Header("cookie");
  for (std::size_t Begin = 0; Begin < Cookies.size();) {
    std::size_t const End = std::min(Cookies.find(';', Begin), Cookies.size());
    Begin = std::min(Cookies.find_first_not_of(' ', Begin), End);
    if (Cookies.compare(Begin, Name.size(), Name) == 0) {
      return Cookies.substr(Begin + Name.size(), End - Begin - Name.size());
    }
    Begin = End + 1;
  }
  return std::string();
}

}  // namespace Property
