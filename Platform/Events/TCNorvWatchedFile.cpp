// SPDX-License-Identifier: MIT
// Says in the kernel what a file is watched for.
#include "Platform/Events/TCNorvWatchedFile.h"

#include <sys/epoll.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "Platform/Events/TCNorvEventLoop.h"
#include "Platform/Utility/TCException.h"

namespace {

constexpr char kSource[] = "../Platform/Events/TCNorvWatchedFile";

}  // namespace

TCNorvWatchedFile::TCNorvWatchedFile(TCNorvEventLoop& Loop, int File, std::uint32_t Events,
                                     TCOnReady OnReady)
    : m_Loop(Loop), m_File(File), m_Function(std::move(OnReady)), m_Place(Loop.Add(*this)) {
  try {
    SetEvents(Events);
  } catch (...) {
    m_Loop.Remove(m_Place);
    throw;
  }
}

TCNorvWatchedFile::~TCNorvWatchedFile() {
  if (m_Events != 0) {
    epoll_ctl(m_Loop.m_Epoll.get(), EPOLL_CTL_DEL, m_File, nullptr);
  }
  m_Loop.Remove(m_Place);
  m_Loop.Forget(this);
}

// Without events the kernel would still tell of the end of the other side, again and again.
void TCNorvWatchedFile::SetEvents(std::uint32_t Events) {
  if (Events == m_Events) {
    return;
  }
  if (m_Events == 0) {
    Change(EPOLL_CTL_ADD, Events);
  } else {
    Change(Events == 0 ? EPOLL_CTL_DEL : EPOLL_CTL_MOD, Events);
  }
  m_Events = Events;
}

// Whatever the kernel knows already it can change.
void TCNorvWatchedFile::Change(int Operation, std::uint32_t Events) {
  epoll_event Event = {};
  Event.events = Events;
  Event.data.u64 = std::uint64_t{m_Loop.m_Places[m_Place].Uses} << 32U | m_Place;
  if (epoll_ctl(m_Loop.m_Epoll.get(), Operation, m_File, &Event) == 0 ||
      Operation != EPOLL_CTL_ADD) {
    return;
  }
  if (errno == ENOMEM) {
    throw std::bad_alloc();
  }
  throw TCException(kSource, __LINE__)
      .Format("cannot watch file %d: %s", m_File, std::strerror(errno));
}
