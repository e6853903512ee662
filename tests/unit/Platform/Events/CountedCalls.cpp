// SPDX-License-Identifier: MIT
// Stands between the event loop and the system's calls.
#include "CountedCalls.h"

#include <dlfcn.h>
#include <sys/epoll.h>
#include <sys/timerfd.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<int> Calls{0};
std::atomic<int> RefusedWith{0};
std::atomic<bool> AreWaitsCoarse{false};

template <class TFunction>
TFunction Next(char const* Name) {
  return reinterpret_cast<TFunction>(dlsym(RTLD_NEXT, Name));
}

bool IsRefused() {
  errno = RefusedWith;
  return RefusedWith != 0;
}

}  // namespace

TCountedCalls::TCountedCalls() {
  Calls = 0;
}

TCountedCalls::~TCountedCalls() = default;

int TCountedCalls::get_Count() const {
  return Calls;
}

TRefusingSystem::TRefusingSystem(int Error) {
  RefusedWith = Error;
}

TRefusingSystem::~TRefusingSystem() {
  RefusedWith = 0;
}

TCoarseWaits::TCoarseWaits() {
  AreWaitsCoarse = true;
}

TCoarseWaits::~TCoarseWaits() {
  AreWaitsCoarse = false;
}

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) int epoll_create1(int Flags) noexcept {
  static auto const Real = Next<int (*)(int)>("epoll_create1");
  return IsRefused() ? -1 : Real(Flags);
}

extern "C" __attribute__((visibility("default"))) int epoll_ctl(int Epoll, int Operation, int File,
                                                                epoll_event* Event) noexcept {
  static auto const Real = Next<int (*)(int, int, int, epoll_event*)>("epoll_ctl");
  ++Calls;
  return Operation == EPOLL_CTL_ADD && IsRefused() ? -1 : Real(Epoll, Operation, File, Event);
}

extern "C" __attribute__((visibility("default"))) int epoll_pwait2(int Epoll, epoll_event* Events,
                                                                   int Count, timespec const* Limit,
                                                                   sigset_t const* Mask) {
  using TWait = int (*)(int, epoll_event*, int, timespec const*, sigset_t const*);
  static auto const Real = Next<TWait>("epoll_pwait2");
  if (AreWaitsCoarse) {
    errno = ENOSYS;
    return -1;
  }
  return Real(Epoll, Events, Count, Limit, Mask);
}

extern "C" __attribute__((visibility("default"))) int timerfd_create(clockid_t Clock,
                                                                     int Flags) noexcept {
  static auto const Real = Next<int (*)(clockid_t, int)>("timerfd_create");
  return IsRefused() ? -1 : Real(Clock, Flags);
}

extern "C" __attribute__((visibility("default"))) int timerfd_settime(int File, int Flags,
                                                                      itimerspec const* Time,
                                                                      itimerspec* Old) noexcept {
  static auto const Real =
      Next<int (*)(int, int, itimerspec const*, itimerspec*)>("timerfd_settime");
  ++Calls;
  return Real(File, Flags, Time, Old);
}
