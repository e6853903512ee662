// SPDX-License-Identifier: MIT
// Keeps the application's signals from a library's threads.
#pragma once

#include <csignal>

/// While it lives, the calling thread takes no signals, and a thread that it starts never does: the
/// application's signals are the business of the application's threads.
class TCSignalsBlocked {
 public:
  TCSignalsBlocked() {
    sigset_t All;
    sigfillset(&All);
    pthread_sigmask(SIG_SETMASK, &All, &m_Former);
  }
  ~TCSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_Former, nullptr); }
  TCSignalsBlocked(TCSignalsBlocked const&) = delete;
  TCSignalsBlocked& operator=(TCSignalsBlocked const&) = delete;

 private:
  sigset_t m_Former;
};
