// SPDX-License-Identifier: MIT
// Has a timer interrupt the thread until it has closed everything.
#include "Platform/Messaging/Wire/TCPromptClosing.h"

#include <unistd.h>

#include <csignal>
#include <ctime>

namespace Wire {

namespace {

constexpr long kWait = 100000;  // nanoseconds; far longer than it takes to close what does not wait

// The application's handlers are for signals with names.
int InterruptingSignal() {
  return SIGRTMAX;
}

void IgnoreSignal(int /*Signal*/) {}

// Without a handler the signal would end the process. Other calls than those that close go on.
bool HandleSignal() {
  struct sigaction Action = {};
  Action.sa_flags = SA_RESTART;
  Action.sa_handler = IgnoreSignal;
  return sigaction(InterruptingSignal(), &Action, nullptr) == 0;
}

/// The timer of one thread. Where the system has none left, closing waits as it always does.
class TCInterruptingTimer {
 public:
  TCInterruptingTimer() {
    static bool const IsHandled = HandleSignal();
    sigset_t Signals;
    sigemptyset(&Signals);
    sigaddset(&Signals, InterruptingSignal());
    sigevent Event = {};
    Event.sigev_notify = SIGEV_THREAD_ID;
    Event.sigev_signo = InterruptingSignal();
    Event._sigev_un._tid = gettid();
    m_IsThere = IsHandled && pthread_sigmask(SIG_UNBLOCK, &Signals, nullptr) == 0 &&
                timer_create(CLOCK_MONOTONIC, &Event, &m_Timer) == 0;
  }
  TCInterruptingTimer(TCInterruptingTimer const&) = delete;
  TCInterruptingTimer& operator=(TCInterruptingTimer const&) = delete;
  ~TCInterruptingTimer() {
    if (m_IsThere) {
      timer_delete(m_Timer);
    }
  }

  void Begin() {
    if (m_Depth++ == 0) {
      Set(kWait);
    }
  }
  void End() {
    if (--m_Depth == 0) {
      Set(0);
    }
  }

 private:
  // Again and again: the first signal may come before the wait begins.
  void Set(long Nanoseconds) const {
    itimerspec const Times = {{0, Nanoseconds}, {0, Nanoseconds}};
    if (m_IsThere) {
      timer_settime(m_Timer, 0, &Times, nullptr);
    }
  }

  timer_t m_Timer = {};
  bool m_IsThere = false;
  int m_Depth = 0;
};

TCInterruptingTimer& TimerOfThread() {
  thread_local TCInterruptingTimer Timer;
  return Timer;
}

}  // namespace

TCPromptClosing::TCPromptClosing() noexcept {
  TimerOfThread().Begin();
}

TCPromptClosing::~TCPromptClosing() {
  TimerOfThread().End();
}

}  // namespace Wire
