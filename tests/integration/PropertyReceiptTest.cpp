// SPDX-License-Identifier: MIT
// Receipts and conditional commits of real processes, also while the server is killed.
#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <future>

#include "tests/integration/ProcessFixture.h"

namespace {

using TAnswer = std::future<std::string>;

struct PropertyReceipt : TProcessFixture {
  static TAnswer AnswerOf(TProcess& Client) {
    return std::async(std::launch::async, [&Client] { return Client.Hear(); });
  }

  // Kills the server and starts it again until the answer has come; returns how often. It lives
  // longer each time, so that there is a kill on a fast machine and an end on a slow one.
  int KillUntil(TAnswer const& Answer, std::vector<std::string> const& Options) {
    auto Server = StartServer(Options);
    int Kills = 0;
    std::chrono::milliseconds Life{5};
    for (; Answer.wait_for(Life) != std::future_status::ready; Life *= 2) {
      Server->End(SIGKILL);
      Server = StartServer(Options);
      ++Kills;
    }
    m_Server = std::move(Server);
    return Kills;
  }

  std::unique_ptr<TProcess> m_Server;  // the last one
};

}  // namespace

TEST_F(PropertyReceipt, IsTrueWhileTheServerIsKilled) {
  std::ofstream(File("server.toml")) << "[limits]\nvalue_bytes = 100\n";
  auto const Client = NewClient();
  Client->Say("create 0");
  Client->Say("wait 101 7 - 300 200");
  TAnswer Answer = AnswerOf(*Client);
  KillUntil(Answer, {"--config", File("server.toml")});
  EXPECT_EQ(Answer.get(), "created");
  Answer = AnswerOf(*Client);
  m_Server.reset();
  EXPECT_GT(KillUntil(Answer, {"--config", File("server.toml")}), 0);
  EXPECT_EQ(Answer.get(), "150 stored, 150 refused");
  EXPECT_EQ(StartClient()->Ask("get 101 7 -"), Hex("298"));  // as the server has it
}

TEST_F(PropertyReceipt, LetsProcessesCountWithoutLosingOneWhileTheServerIsKilled) {
  constexpr int kProcesses = 4;
  std::vector<std::unique_ptr<TProcess>> Clients;
  for (int Process = 0; Process < kProcesses; ++Process) {
    Clients.push_back(NewClient());
    Clients.back()->Say("create 0");
    Clients.back()->Say("count 102 9 - 100");
  }
  int Kills = 0;
  for (auto const& Client : Clients) {
    for (char const* const Expected : {"created", "counted"}) {
      TAnswer Answer = AnswerOf(*Client);
      m_Server.reset();
      Kills += KillUntil(Answer, {});
      EXPECT_EQ(Answer.get(), Expected);
    }
  }
  EXPECT_GT(Kills, 0);
  EXPECT_EQ(StartClient()->Ask("get 102 9 -"), Hex("405"));  // the default is 5
}
