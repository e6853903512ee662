// SPDX-License-Identifier: MIT
// Starts, tells and ends the processes of a test.
#include "tests/integration/ProcessFixture.h"

#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

#include "tests/support/PrivateFolder.h"

TProcess::TProcess(std::vector<std::string> const& Command,
                   std::map<std::string, std::string> const& Set,
                   std::function<void()> const& Prepare)
    : TProcess(Command, Set, Prepare, TCFileDescriptor(memfd_create("errors", MFD_CLOEXEC))) {}

TProcess::TProcess(std::vector<std::string> const& Command,
                   std::map<std::string, std::string> const& Set,
                   std::function<void()> const& Prepare, TCFileDescriptor Errors)
    : TChildProcess({Command, Set, Errors.get(), "", Prepare}), m_Errors(std::move(Errors)) {}

void TProcess::Say(std::string const& Line) {
  EXPECT_TRUE(TChildProcess::Say(Line)) << "the process does not listen to " << Line.substr(0, 80);
}

std::string TProcess::Ask(std::string const& Command) {
  Say(Command);
  return Hear();
}

std::string TProcess::Errors() const {
  std::string Text;
  char Bytes[65536];
  ssize_t Count = 0;
  while ((Count = pread(m_Errors.get(), Bytes, sizeof(Bytes), static_cast<off_t>(Text.size()))) >
         0) {
    Text.append(Bytes, static_cast<std::size_t>(Count));
  }
  return Text;
}

TProcessFixture::TProcessFixture() : m_Folder(MakePrivateFolder()) {}

TProcessFixture::~TProcessFixture() {
  std::filesystem::remove_all(m_Folder);
}

std::vector<std::string> TProcessFixture::ServerCommand(
    std::vector<std::string> const& Options) const {
  std::vector<std::string> Command = {SERVER_PROGRAM, "--address", Address(), "--database",
                                      File("values.db")};
  Command.insert(Command.end(), Options.begin(), Options.end());
  return Command;
}

std::unique_ptr<TProcess> TProcessFixture::Start(std::vector<std::string> const& Command) const {
  return std::make_unique<TProcess>(Command, std::map<std::string, std::string>());
}

std::unique_ptr<TProcess> TProcessFixture::StartServer(std::vector<std::string> const& Options,
                                                       std::function<void()> const& Prepare) const {
  auto Server = std::make_unique<TProcess>(ServerCommand(Options),
                                           std::map<std::string, std::string>(), Prepare);
  EXPECT_EQ(Server->Hear().substr(0, 7), "ready: ");
  return Server;
}

std::unique_ptr<TProcess> TProcessFixture::NewClient(std::string const& MAC) const {
  return std::make_unique<TProcess>(
      std::vector<std::string>{CLIENT_PROGRAM},
      std::map<std::string, std::string>{{"MAILROUTER_ADDRESS", Address()},
                                         {"PROPERTY_OWN_MAC", MAC}});
}

std::unique_ptr<TProcess> TProcessFixture::StartClient(std::string const& MAC, bool OwnOnly) const {
  auto Client = NewClient(MAC);
  EXPECT_EQ(Client->Ask(OwnOnly ? "create 1" : "create 0"), "created");
  return Client;
}
