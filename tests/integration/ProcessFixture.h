// SPDX-License-Identifier: MIT
// Real processes in a private folder: a property server and clients that obey commands.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/Hex.h"

/// A child process that a test talks to, and what it has said.
class TProcess : public TChildProcess {
 public:
  /// `Prepare` runs in the child before the program does.
  TProcess(std::vector<std::string> const& Command, std::map<std::string, std::string> const& Set,
           std::function<void()> const& Prepare = nullptr);

  /// Fails the test when the process does not listen.
  void Say(std::string const& Line);
  /// Says a command and hears the answer.
  std::string Ask(std::string const& Command);
  /// What it has written to its standard error so far.
  std::string Errors() const;

 private:
  TProcess(std::vector<std::string> const& Command, std::map<std::string, std::string> const& Set,
           std::function<void()> const& Prepare, TCFileDescriptor Errors);

  TCFileDescriptor m_Errors;  // takes whatever is said, heard or not
};

class TProcessFixture : public testing::Test {
 protected:
  TProcessFixture();
  ~TProcessFixture() override;

  std::string File(std::string const& Name) const { return m_Folder + "/" + Name; }
  std::string Address() const { return "unix:path=" + File("socket"); }
  std::vector<std::string> ServerCommand(std::vector<std::string> const& Options = {}) const;

  /// Starts a server and waits until it is ready.
  std::unique_ptr<TProcess> StartServer(std::vector<std::string> const& Options = {},
                                        std::function<void()> const& Prepare = nullptr) const;
  /// A program that is expected to end by itself.
  std::unique_ptr<TProcess> Start(std::vector<std::string> const& Command) const;
  /// A client of a device, not yet created.
  std::unique_ptr<TProcess> NewClient(std::string const& MAC = kThisDevice) const;
  /// A client whose store is loaded.
  std::unique_ptr<TProcess> StartClient(std::string const& MAC = kThisDevice,
                                        bool OwnOnly = false) const;

  static constexpr char kThisDevice[] = "02:00:00:00:00:01";
  static constexpr char kOtherDevice[] = "02:00:00:00:00:02";

  std::string m_Folder;
};
