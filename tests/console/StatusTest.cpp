// SPDX-License-Identifier: MIT
// Every status that the description has of every request, brought about.
#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <thread>

#include "PropertyConsole/TCConsole.h"
#include "PropertyConsole/TCHTTPServer.h"
#include "PropertyConsole/TCPlainTransport.h"
#include "tests/console/ConsoleFixture.h"
#include "tests/console/RefusingServer.h"

namespace {

using TStatusJSON = nlohmann::json;

/// A request as the description has it.
struct TOperation {
  std::string m_Method;
  std::string m_Path;
  std::set<int> m_Statuses;
  bool m_HasBody = false;
  bool m_NeedsToken = false;

  std::string get_Name() const { return m_Method + " " + m_Path; }
  /// The path with a transaction's number in its place.
  std::string PathOf(std::string const& Transaction) const {
    std::size_t const Place = m_Path.find("{transaction}");
    return Place == std::string::npos
               ? m_Path
               : m_Path.substr(0, Place) + Transaction + m_Path.substr(m_Path.find('}') + 1);
  }
};

TOperation ReadOperation(std::string Method, std::string const& Path, TStatusJSON const& Read) {
  std::transform(Method.begin(), Method.end(), Method.begin(),
                 [](unsigned char Letter) { return static_cast<char>(std::toupper(Letter)); });
  TOperation Operation{Method, Path, {}, Read.contains("requestBody"), false};
  for (auto const& [Status, Response] : Read.at("responses").items()) {
    Operation.m_Statuses.insert(std::stoi(Status));
  }
  for (TStatusJSON const& Parameter : Read.value("parameters", TStatusJSON::array())) {
    Operation.m_NeedsToken = Operation.m_NeedsToken || Parameter.at("name") == "X-CSRF-Token";
  }
  return Operation;
}

std::vector<TOperation> Operations() {
  std::vector<TOperation> Found;
  auto const Description = TStatusJSON::parse(std::ifstream(CONSOLE_DESCRIPTION));
  for (auto const& [Path, Methods] : Description.at("paths").items()) {
    for (auto const& [Method, Read] : Methods.items()) {
      Found.push_back(ReadOperation(Method, Path, Read));
    }
  }
  return Found;
}

std::vector<TOperation> DescribedWith(int Status) {
  std::vector<TOperation> Found = Operations();
  Found.erase(std::remove_if(Found.begin(), Found.end(),
                             [Status](TOperation const& Operation) {
                               return Operation.m_Statuses.count(Status) == 0;
                             }),
              Found.end());
  EXPECT_FALSE(Found.empty()) << Status;
  return Found;
}

std::set<std::string> NamesWith(int Status) {
  std::set<std::string> Names;
  for (TOperation const& Operation : DescribedWith(Status)) {
    Names.insert(Operation.get_Name());
  }
  return Names;
}

class StatusTest : public TConsoleFixture {
 protected:
  using TMake = std::function<std::string(TOperation const&)>;

  StatusTest() {
    AddUser("anna", "viewer");
    AddUser("bert", "administrator");
  }
  void StartAsAdministrator(std::vector<std::string> const& Options = {}) {
    StartConsole(Options);
    m_Page = SignIn("bert");
  }

  /// All but what says of which length and type the body is.
  std::string HeadOf(TOperation const& Operation, std::string const& Query = "") const {
    std::string Head = Operation.m_Method + " " + Operation.PathOf("1") + Query +
                       " HTTP/1.1\r\nHost: localhost\r\n";
    for (std::string const& Header : m_Page) {
      Head += Header + "\r\n";
    }
    return Head;
  }
  static std::string WithBody(std::string const& Head, std::string const& Body) {
    return Head +
           "Content-Type: application/json\r\nContent-Length: " + std::to_string(Body.size()) +
           "\r\n\r\n" + Body;
  }
  /// A sound one.
  static std::string BodyOf(TOperation const& Operation, std::string const& Revision = "x") {
    TStatusJSON const Wanted = {{"number", 111}, {"value", "60"}};
    if (Operation.m_Path == kSession) {
      return TStatusJSON{{"user", "bert"}, {"password", kPassword}}.dump();
    }
    return Operation.m_Path.find("{transaction}") != std::string::npos
               ? "{}"
               : TStatusJSON{{"revision", Revision},
                             {"changes", std::vector<TStatusJSON>(1, Wanted)}}
                     .dump();
  }
  std::string Whole(TOperation const& Operation) const {
    return Operation.m_HasBody ? WithBody(HeadOf(Operation), BodyOf(Operation))
                               : HeadOf(Operation) + "\r\n";
  }
  void ExpectProblem(TOperation const& Operation, std::string const& Bytes, int Status) const {
    TReply const Reply = Exchange(Bytes);
    EXPECT_EQ(Reply.m_Status, Status) << Operation.get_Name() << ": " << Reply.m_Body;
    EXPECT_NE(Reply.Code(), "") << Operation.get_Name();
  }
  /// Sends to all requests that are described with the status what brings it about.
  void ExpectOfAll(int Status, TMake const& Make) const {
    for (TOperation const& Operation : DescribedWith(Status)) {
      ExpectProblem(Operation, Make(Operation), Status);
    }
  }

  std::string Revision() const {
    return TStatusJSON::parse(AskAs(m_Page, "GET", "/api/v1/values").m_Body).at("revision");
  }
  TReply Change(TStatusJSON const& Wanted, TStatusJSON const& ConfirmWithin = TStatusJSON()) const {
    TStatusJSON const Body = {{"revision", Revision()},
                              {"changes", std::vector<TStatusJSON>(1, Wanted)},
                              {"confirm_within", ConfirmWithin}};
    return AskAs(m_Page, "POST", "/api/v1/transactions", Body.dump());
  }
  std::string Changed(int Number, std::string const& Text,
                      TStatusJSON const& ConfirmWithin = TStatusJSON()) const {
    TReply const Reply = Change({{"number", Number}, {"value", Text}}, ConfirmWithin);
    EXPECT_EQ(Reply.m_Status, 200) << Reply.m_Body;
    return TStatusJSON::parse(Reply.m_Body).at("transaction").dump();
  }
  TReply Do(std::string const& Transaction, std::string const& What) const {
    return AskAs(m_Page, "POST", "/api/v1/transactions/" + Transaction + "/" + What, "{}");
  }

  std::vector<std::string> m_Page;
};

TEST_F(StatusTest, NoneIsDescribedThatIsNotTriedHere) {
  std::set<int> Described;
  for (TOperation const& Operation : Operations()) {
    Described.insert(Operation.m_Statuses.begin(), Operation.m_Statuses.end());
  }

  EXPECT_EQ(Described, (std::set<int>{200, 204, 400, 401, 403, 404, 408, 409, 410, 411, 412,
                                      413, 414, 415, 416, 422, 429, 431, 500, 502, 503, 504}));
}

TEST_F(StatusTest, AllIsWell) {
  StartAsAdministrator();
  std::string const Waiting = Changed(111, "60", 600);
  std::set<std::string> Done;
  for (TOperation const& Operation : DescribedWith(200)) {
    std::string const Text = WithBody(HeadOf(Operation), BodyOf(Operation, Revision()));
    std::string const Path = Operation.PathOf(Waiting);
    TConnection const Connection(m_Port);
    Connection.Send(Operation.m_HasBody
                        ? Operation.m_Method + " " + Path + Text.substr(Text.find(" HTTP/1.1"))
                        : HeadOf(Operation) + "\r\n");
    EXPECT_EQ(Connection.HearSome().substr(0, 12), "HTTP/1.1 200") << Operation.get_Name();
    Done.insert(Operation.get_Name());
  }
  EXPECT_EQ(Done.size() + 1, Operations().size());
  EXPECT_EQ(NamesWith(204), std::set<std::string>{"DELETE /api/v1/session"});
  EXPECT_EQ(AskAs(m_Page, "DELETE", kSession).m_Status, 204);
}

TEST_F(StatusTest, MalformedRequestsAreRefused) {
  StartAsAdministrator();

  ExpectOfAll(400, [this](TOperation const& Operation) {
    return HeadOf(Operation) + "Content-Type: application/json\r\nContent-Length: x\r\n\r\n";
  });
}

TEST_F(StatusTest, BodiesThatAreMissingOrMalformedAreRefused) {
  StartAsAdministrator();

  for (TOperation const& Operation : DescribedWith(400)) {
    if (Operation.m_HasBody) {
      for (char const* Body : {"", "{", "[]", "null", "{\"nothing\":1}"}) {
        ExpectProblem(Operation, WithBody(HeadOf(Operation), Body), 400);
      }
    }
  }
}

TEST_F(StatusTest, StrangersAreRefused) {
  StartConsole();

  for (TOperation const& Operation : DescribedWith(401)) {
    std::string Body = BodyOf(Operation);
    std::size_t const Password = Body.find(kPassword);
    Body.replace(std::min(Password, Body.size()), Password < Body.size() ? 3 : 0, "");
    ExpectProblem(
        Operation,
        Operation.m_HasBody ? WithBody(HeadOf(Operation), Body) : HeadOf(Operation) + "\r\n", 401);
  }
}

TEST_F(StatusTest, NamesOfOtherHostsAreRefused) {
  StartAsAdministrator();

  ExpectOfAll(403, [this](TOperation const& Operation) {
    std::string Text = Whole(Operation);
    return Text.replace(Text.find("localhost"), 9, "evil.example");
  });
}

TEST_F(StatusTest, RequestsThatChangeNeedTheTokenAndARole) {
  StartConsole();
  auto const Viewer = SignIn("anna");
  auto const Administrator = SignIn("bert");

  for (TOperation const& Operation : DescribedWith(403)) {
    if (Operation.m_NeedsToken) {
      m_Page = {Administrator.at(0)};
      ExpectProblem(Operation, Whole(Operation), 403);
      m_Page = Administrator;
      m_Page.emplace_back("Origin: http://evil.example");
      ExpectProblem(Operation, Whole(Operation), 403);
    }
    if (Operation.m_NeedsToken && Operation.m_HasBody) {
      m_Page = Viewer;
      ExpectProblem(Operation, Whole(Operation), 403);
    }
  }
}

TEST_F(StatusTest, UnknownTransactionsAreNotFound) {
  StartAsAdministrator();

  ExpectOfAll(404, [this](TOperation const& Operation) { return Whole(Operation); });
}

TEST_F(StatusTest, SlowRequestsAreEnded) {
  StartAsAdministrator({"--request-seconds", "1"});
  std::vector<std::pair<TOperation, std::unique_ptr<TConnection>>> Slow;
  for (TOperation const& Operation : DescribedWith(408)) {
    Slow.emplace_back(Operation, std::make_unique<TConnection>(m_Port));
    Slow.back().second->Send(HeadOf(Operation));
  }

  for (auto const& [Operation, Connection] : Slow) {
    EXPECT_EQ(Connection->HearAll().substr(0, 12), "HTTP/1.1 408") << Operation.get_Name();
  }
}

TEST_F(StatusTest, WhatSomebodyHasChangedSinceIsNotTakenBack) {
  StartAsAdministrator();
  std::string const Transaction = Changed(111, "60");
  Changed(111, "61");

  EXPECT_EQ(Do(Transaction, "undo").m_Status, 409);
  EXPECT_EQ(NamesWith(409), std::set<std::string>{"POST /api/v1/transactions/{transaction}/undo"});
}

TEST_F(StatusTest, WhatDoesNotWaitIsNotConfirmed) {
  StartAsAdministrator();

  EXPECT_EQ(Do(Changed(111, "60"), "confirm").m_Status, 410);
  EXPECT_EQ(NamesWith(410),
            std::set<std::string>{"POST /api/v1/transactions/{transaction}/confirm"});
}

TEST_F(StatusTest, BodiesInPiecesAreRefused) {
  StartAsAdministrator();

  ExpectOfAll(411, [this](TOperation const& Operation) {
    return HeadOf(Operation) +
           "Content-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n";
  });
}

TEST_F(StatusTest, ChangesOfWhatWasNotSeenAreRefused) {
  StartAsAdministrator();

  ExpectOfAll(412, [this](TOperation const& Operation) { return Whole(Operation); });
}

TEST_F(StatusTest, OversizedBodiesAreRefused) {
  StartAsAdministrator();

  ExpectOfAll(413, [this](TOperation const& Operation) {
    return HeadOf(Operation) +
           "Content-Type: application/json\r\nContent-Length: 99999999999\r\n\r\n";
  });
  ExpectOfAll(413, [this](TOperation const& Operation) {
    return WithBody(HeadOf(Operation), std::string(std::size_t{5} << 20, ' '));
  });
}

TEST_F(StatusTest, LongAddressesAreRefused) {
  StartAsAdministrator();

  ExpectOfAll(414, [this](TOperation const& Operation) {
    return HeadOf(Operation, "?device=" + std::string(9000, 'x')) + "\r\n";
  });
}

TEST_F(StatusTest, BodiesOfOtherTypesAreRefused) {
  StartAsAdministrator();

  ExpectOfAll(415, [this](TOperation const& Operation) {
    return HeadOf(Operation) + "Content-Type: text/plain\r\nContent-Length: 2\r\n\r\n{}";
  });
}

TEST_F(StatusTest, RangesThatAreNoneAreRefused) {
  StartAsAdministrator();

  ExpectOfAll(416, [this](TOperation const& Operation) {
    return HeadOf(Operation) + "Range: bytes=x\r\n\r\n";
  });
}

TEST_F(StatusTest, WhatIsNotPossibleIsRefused) {
  StartAsAdministrator();

  EXPECT_EQ(Change({{"number", 111}, {"value", "bright"}}).m_Status, 422);
  EXPECT_EQ(Do(Changed(212, "hidden-motto"), "undo").m_Status, 422);
  EXPECT_EQ(NamesWith(422),
            (std::set<std::string>{"POST /api/v1/transactions",
                                   "POST /api/v1/transactions/{transaction}/undo"}));
}

TEST_F(StatusTest, WhoGuessesOnAndOnHasToWait) {
  StartConsole();
  int Status = 401;
  while (Status == 401) {
    Status = TrySignIn("bert", "wrong").m_Status;
  }

  EXPECT_EQ(Status, 429);
  EXPECT_EQ(NamesWith(429), std::set<std::string>{"POST /api/v1/session"});
}

TEST_F(StatusTest, LargeHeadsAreRefused) {
  StartAsAdministrator();

  ExpectOfAll(431, [this](TOperation const& Operation) {
    return HeadOf(Operation) + "X: " + std::string(20000, 'x') + "\r\n\r\n";
  });
}

TEST_F(StatusTest, WhatTheConsoleFailsAtIsToldAsItsFailure) {
  Property::TSConsoleSettings Settings;
  Settings.Users = File("users");
  Property::TCConsole Console(Settings);
  for (TOperation const& Operation : DescribedWith(500)) {
    // The last one that is added of an address goes first.
    Console.get_Routes().Add({Operation.m_Method, Operation.m_Path, std::nullopt,
                              [](Property::TSCall const& /*Call*/) -> Property::TSAnswer {
                                throw std::runtime_error("no memory");
                              }});
  }
  Property::TCHTTPServer Server(
      "127.0.0.1", 0, {}, Console.get_Handlers(), [](TCFileDescriptor Socket) {
        return std::make_unique<Property::TCPlainTransport>(std::move(Socket));
      });
  m_Port = static_cast<int>(Server.get_Port());
  std::thread Serving([&Server] { Server.Run(); });

  ExpectOfAll(500, [this](TOperation const& Operation) { return Whole(Operation); });

  Server.Stop();
  Serving.join();
}

TEST_F(StatusTest, ItIsToldThatTheServerRefuses) {
  TRefusingServer Server(Address());
  StartConsoleAlone();
  m_Page = SignIn("bert");
  Server.Refuse();

  ExpectOfAll(502, [this](TOperation const& Operation) { return Whole(Operation); });
}

TEST_F(StatusTest, WhoIsTooManyIsSentAway) {
  StartAsAdministrator({"--threads", "1", "--waiting-connections", "1", "--request-seconds", "60"});
  TConnection const Served(m_Port);
  Served.Send(
      "POST /api/v1/session HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
      "Content-Length: 2\r\nExpect: 100-continue\r\n\r\n");
  ASSERT_EQ(Served.HearSome().substr(0, 12), "HTTP/1.1 100");
  TConnection const Waiting(m_Port);

  ExpectOfAll(503, [this](TOperation const& Operation) { return Whole(Operation); });
}

TEST_F(StatusTest, ItIsToldThatTheServerIsAway) {
  StartAsAdministrator();
  m_Server->End(SIGKILL);

  for (TOperation const& Operation : DescribedWith(502)) {
    TReply const Reply = Exchange(Whole(Operation));
    EXPECT_EQ(Reply.m_Status, 503) << Operation.get_Name();
    EXPECT_EQ(Reply.Code(), "no_server") << Operation.get_Name();
    EXPECT_EQ(Reply.Header("Retry-After"), "1") << Operation.get_Name();
  }
}

TEST_F(StatusTest, ItIsToldThatTheServerDoesNotAnswer) {
  StartAsAdministrator();
  m_Server->Pause();

  ExpectOfAll(504, [this](TOperation const& Operation) { return Whole(Operation); });

  m_Server->Continue();
}

}  // namespace
