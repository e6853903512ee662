// SPDX-License-Identifier: MIT
// Reads signals from a file.
#include "PropertyServer/TCServerSignals.h"

#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyServer/TCServerSignals";

TCFileDescriptor NewSignalFile() {
  sigset_t Signals;
  sigemptyset(&Signals);
  for (int const Signal : {SIGTERM, SIGINT, SIGHUP}) {
    sigaddset(&Signals, Signal);
  }
  sigprocmask(SIG_BLOCK, &Signals, nullptr);
  TCFileDescriptor File(signalfd(-1, &Signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (File.get() < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot wait for signals: %s", std::strerror(errno));
  }
  return File;
}

}  // namespace

TCServerSignals::TCServerSignals(TCNorvEventLoop& Loop, std::function<void()> OnEnd,
                                 std::function<void()> OnReload)
    : m_OnEnd(std::move(OnEnd)),
      m_OnReload(std::move(OnReload)),
      m_Signals(NewSignalFile()),
      m_Watched(Loop, m_Signals.get(), EPOLLIN, [this](std::uint32_t /*Events*/) { Handle(); }) {}

// One at a time: there is another turn when there are more.
void TCServerSignals::Handle() const {
  signalfd_siginfo Info = {};
  if (read(m_Signals.get(), &Info, sizeof(Info)) == static_cast<ssize_t>(sizeof(Info))) {
    (Info.ssi_signo == SIGHUP ? m_OnReload : m_OnEnd)();
  }
}

}  // namespace Property
