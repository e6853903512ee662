// SPDX-License-Identifier: MIT
// Measures what peers must not be able to change.
#include "tests/fault/hostile/HostileFixture.h"

#include <filesystem>
#include <fstream>
#include <sstream>

int CountLines(std::string const& Text, std::string const& Part) {
  std::istringstream Lines(Text);
  int Count = 0;
  for (std::string Line; std::getline(Lines, Line);) {
    Count += Line.find(Part) != std::string::npos ? 1 : 0;
  }
  return Count;
}

void THostileFixture::StartAll(std::vector<std::string> const& Options,
                               std::function<void()> const& Prepare) {
  m_Server = StartServer(Options, Prepare);
  m_Writer = StartClient();
  m_Reader = StartClient();
}

std::vector<std::string> THostileFixture::Configure(std::string const& Text) const {
  std::ofstream(File("server.toml")) << Text;
  return {"--config", File("server.toml")};
}

void THostileFixture::ExpectServed() {
  auto const Begin = std::chrono::steady_clock::now();
  std::string const Place = std::to_string(1000000 + m_Proofs++);
  EXPECT_EQ(m_Writer->Ask("set 102 " + Place + " - " + Hex("1")), "set");
  EXPECT_EQ(m_Writer->Ask("acknowledged"), "acknowledged");
  EXPECT_EQ(m_Reader->Ask("until 102 " + Place + " " + kThisDevice + " " + Hex("1")), "heard");
  EXPECT_LT(std::chrono::steady_clock::now() - Begin, kSoon);
}

void THostileFixture::ExpectNewcomerServed() {
  auto const Begin = std::chrono::steady_clock::now();
  EXPECT_EQ(StartClient()->Ask("get 102 - -"), Hex("5"));
  EXPECT_LT(std::chrono::steady_clock::now() - Begin, kSoon);
}

void THostileFixture::EndAndExpectLogged(std::string const& Text, int Lines) {
  EXPECT_EQ(m_Server->End(SIGTERM), 0);
  std::string const Errors = m_Server->Errors();
  EXPECT_EQ(CountLines(Errors, Text), Lines) << Errors;
}

long THostileFixture::ServerMemory() const {
  std::ifstream Status("/proc/" + std::to_string(m_Server->get_Process()) + "/status");
  std::string Word;
  while (Status >> Word && Word != "VmRSS:") {
  }
  long Size = -1;
  Status >> Size;
  return Size;
}

void THostileFixture::ExpectNoMoreMemory(long Before) const {
  // What is freed stays with a build that checks addresses for a while.
  constexpr long kGrowth = (kShare > 1 ? 400 : 48) * 1024;
  EXPECT_LT(ServerMemory(), Before + kGrowth);
}

int THostileFixture::ServerFiles() const {
  int Count = 0;
  for (auto const& File : std::filesystem::directory_iterator(
           "/proc/" + std::to_string(m_Server->get_Process()) + "/fd")) {
    Count += File.path().empty() ? 0 : 1;
  }
  return Count;
}
