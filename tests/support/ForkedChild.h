// SPDX-License-Identifier: MIT
// A child that this process forks, and what it says.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

inline pid_t const kTestProcess = getpid();

/// Asked by the search for leaks before it begins. In a forked child it would find what belongs to
/// threads of the parent, which the child does not have.
extern "C" __attribute__((visibility("default"), used)) inline int __lsan_is_turned_off() {
  return getpid() == kTestProcess ? 0 : 1;
}

/// Runs `Action` in a forked child, which tells the parent the text that it returns and then ends
/// by `Exit`. A child that hangs is ended after `kPatienceSeconds`.
class TForkedChild {
 public:
  template <class TAction>
  explicit TForkedChild(TAction const& Action, void (*Exit)(int) = std::exit) {
    EXPECT_EQ(pipe(m_Pipe), 0);
    m_Process = fork();
    if (m_Process == 0) {
      alarm(kPatienceSeconds);
      close(m_Pipe[0]);
      Tell(Action());
      Exit(0);
    }
    close(m_Pipe[1]);
  }
  TForkedChild(TForkedChild const&) = delete;
  TForkedChild& operator=(TForkedChild const&) = delete;
  ~TForkedChild() { Wait(); }

  /// The text, once the child has exited, and how it ended where that was not well.
  std::string Wait() {
    if (m_Process > 0) {
      for (char Byte = 0; read(m_Pipe[0], &Byte, 1) == 1;) {
        m_Text += Byte;
      }
      close(m_Pipe[0]);
      int Status = 0;
      waitpid(m_Process, &Status, 0);
      if (Status != 0) {
        m_Text += " (status " + std::to_string(Status) + ")";
      }
      m_Process = 0;
    }
    return m_Text;
  }

 private:
  void Tell(std::string const& Text) {
    EXPECT_EQ(write(m_Pipe[1], Text.data(), Text.size()), static_cast<ssize_t>(Text.size()));
  }

  static constexpr unsigned kPatienceSeconds = 30;

  int m_Pipe[2] = {-1, -1};
  pid_t m_Process = -1;
  std::string m_Text;
};

/// The message of the exception that `Action` throws; "nothing thrown" for none.
template <class TException, class TAction>
std::string ThrownText(TAction const& Action) {
  try {
    Action();
  } catch (TException const& Exception) {
    return Exception.get_Message();
  }
  return "nothing thrown";
}
