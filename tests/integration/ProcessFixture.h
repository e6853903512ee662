// SPDX-License-Identifier: MIT
// Real processes in a private folder: a property server and clients that obey commands.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/Hex.h"

/// A child process with pipes to its standard streams. Killed, if it lives, with its owner.
class TProcess {
 public:
  /// `Prepare` runs in the child before the program does.
  TProcess(std::vector<std::string> const& Command, std::map<std::string, std::string> const& Set,
           std::function<void()> const& Prepare = nullptr);
  TProcess(TProcess const&) = delete;
  TProcess& operator=(TProcess const&) = delete;
  ~TProcess();

  void Say(std::string const& Line);
  /// The next line of its standard output; fails the test when none comes in time.
  std::string Hear();
  /// Says a command and hears the answer.
  std::string Ask(std::string const& Command);
  /// Ends its input, waits for its end and returns its exit code, or minus its signal.
  int End();
  int End(int Signal);
  void Pause();
  void Continue();
  /// What it has written to its standard output and nobody heard; complete after its end.
  std::string Rest();
  /// What it has written to its standard error so far.
  std::string Errors() const;
  pid_t get_Process() const { return m_Process; }

 private:
  pid_t m_Process = -1;
  int m_Input = -1;
  int m_Output = -1;
  int m_Error = -1;
  std::string m_Buffer;
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
