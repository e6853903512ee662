// SPDX-License-Identifier: MIT
// Waits in the kernel and calls what is ready in its order.
#include "Platform/Events/TCNorvEventLoop.h"

#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <utility>

#include "Platform/Events/TCNorvLoopTimer.h"
#include "Platform/Events/TCNorvLoopWork.h"
#include "Platform/Events/TCNorvWatchedFile.h"
#include "Platform/Utility/FailureText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCLogBudget.h"

namespace {

constexpr char kSource[] = "../Platform/Events/TCNorvEventLoop";
constexpr std::uint64_t kBootTimerKey = UINT64_MAX;  // no file's
constexpr std::int64_t kSecond = 1000000;            // microseconds

using TCLoopTime = TCNorvEventLoop::TCTime;

timespec TimeSpec(TCLoopTime Time) {
  constexpr TCLoopTime kMost = std::chrono::seconds(INT_MAX);  // where a time has 32 bits
  Time = std::min(Time, kMost);
  timespec Result = {};
  Result.tv_sec = static_cast<time_t>(Time.count() / kSecond);
  Result.tv_nsec = static_cast<decltype(Result.tv_nsec)>(Time.count() % kSecond * 1000);
  return Result;
}

// In whole milliseconds, for systems that know no finer ones; never too early.
int Milliseconds(TCLoopTime Limit) {
  constexpr TCLoopTime kMost = std::chrono::milliseconds(INT_MAX);
  return static_cast<int>((std::min(Limit, kMost).count() + 999) / 1000);
}

// `IsFine` says whether the system knows finer limits, as far as is known.
int WaitForFiles(int Epoll, epoll_event* Ready, int Count, TCLoopTime Limit, bool& IsFine) {
  if (Limit == TCLoopTime::zero() || Limit == TCNorvEventLoop::kForEver) {
    return epoll_wait(Epoll, Ready, Count, Limit == TCLoopTime::zero() ? 0 : -1);
  }
  if (IsFine) {
    timespec const Time = TimeSpec(Limit);
    int const Result = epoll_pwait2(Epoll, Ready, Count, &Time, nullptr);
    IsFine = Result >= 0 || errno != ENOSYS;
    if (IsFine) {
      return Result;
    }
  }
  return epoll_wait(Epoll, Ready, Count, Milliseconds(Limit));
}

[[noreturn]] void ThrowCannot(char const* Operation) {
  throw TCException(kSource, __LINE__).Format("cannot %s: %s", Operation, std::strerror(errno));
}

}  // namespace

TCNorvEventLoop::TCNorvEventLoop()
    : m_Epoll(epoll_create1(EPOLL_CLOEXEC)), m_LogBudget(std::make_unique<TCLogBudget>()) {
  if (m_Epoll.get() < 0) {
    ThrowCannot("make an event loop");
  }
}

TCNorvEventLoop::~TCNorvEventLoop() = default;

bool TCNorvEventLoop::TSEarlier::operator()(TCNorvLoopTimer const* First,
                                            TCNorvLoopTimer const* Second) const {
  return First->get_Deadline() < Second->get_Deadline();
}

// ---- times ----

TCLoopTime TCNorvEventLoop::Read(clockid_t Clock) {
  timespec Time = {};
  clock_gettime(Clock, &Time);
  return TCTime(static_cast<std::int64_t>(Time.tv_sec) * kSecond + Time.tv_nsec / 1000);
}

TCLoopTime TCNorvEventLoop::Now() const {
  return m_Turning ? m_Now : Read(CLOCK_MONOTONIC);
}

TCNorvEventLoop::TSClock& TCNorvEventLoop::ClockOf(clockid_t Clock) {
  if (Clock == CLOCK_MONOTONIC) {
    return m_Monotonic;
  }
  if (Clock == CLOCK_BOOTTIME) {
    RequireBootTimer();
    return m_Boot;
  }
  throw TCException(kSource, __LINE__).Format("an event loop has no timers of clock %d", Clock);
}

// The limit of a wait does not count time asleep.
void TCNorvEventLoop::RequireBootTimer() {
  if (m_BootTimer.get() >= 0) {
    return;
  }
  TCFileDescriptor Timer(timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK));
  epoll_event Event = {};
  Event.events = EPOLLIN;
  Event.data.u64 = kBootTimerKey;
  if (Timer.get() < 0 || epoll_ctl(m_Epoll.get(), EPOLL_CTL_ADD, Timer.get(), &Event) != 0) {
    ThrowCannot("make a timer");
  }
  m_BootTimer = std::move(Timer);
}

// Nothing reads it: to set it is to take back that it is ready.
void TCNorvEventLoop::WakeForBootTime() {
  TCTime Earliest{};
  for (TCTimers const* Timers : {&m_Boot.Usual, &m_Boot.Important}) {
    if (!Timers->empty()) {
      TCTime const Deadline = std::max((*Timers->begin())->get_Deadline(), TCTime(1));
      Earliest = Earliest == TCTime::zero() ? Deadline : std::min(Earliest, Deadline);
    }
  }
  if (Earliest != m_BootTimerAt) {
    itimerspec Time = {};
    Time.it_value = TimeSpec(Earliest);
    timerfd_settime(m_BootTimer.get(), TFD_TIMER_ABSTIME, &Time, nullptr);
    m_BootTimerAt = Earliest;
  }
}

// ---- turning ----

bool TCNorvEventLoop::Turn(TCTime Patience) {
  if (m_Turning) {
    throw TCException(kSource, __LINE__).Format("a callback cannot turn the loop that calls it");
  }
  WakeForBootTime();
  int const Ready = Wait(LimitOf(Patience));
  m_Now = Read(CLOCK_MONOTONIC);
  m_Turning = true;
  bool const Called = CallAll(static_cast<std::size_t>(std::max(Ready, 0))) ||
                      (Ready == 0 && CallWorks(m_Idle, m_Resting));
  if (Called) {
    CallWorks(m_AfterTurns, m_AfterTurns);
  }
  m_Turning = false;
  return Called;
}

TCLoopTime TCNorvEventLoop::LimitOf(TCTime Patience) const {
  if (!m_NextTurn.empty() || !m_Idle.empty() || Patience <= TCTime::zero()) {
    return TCTime::zero();
  }
  TCTime Earliest = kForEver;
  for (TCTimers const* Timers : {&m_Monotonic.Usual, &m_Monotonic.Important}) {
    if (!Timers->empty()) {
      Earliest = std::min(Earliest, (*Timers->begin())->get_Deadline());
    }
  }
  if (Earliest == kForEver) {
    return Patience;
  }
  TCTime const Present = Read(CLOCK_MONOTONIC);
  return Earliest > Present ? std::min(Patience, Earliest - Present) : TCTime::zero();
}

// How many files are ready; -1 when a signal was handled and nobody knows.
int TCNorvEventLoop::Wait(TCTime Limit) {
  int const Result = WaitForFiles(m_Epoll.get(), m_Ready.data(), static_cast<int>(m_Ready.size()),
                                  Limit, m_WaitsFinely);
  if (Result < 0 && errno != EINTR) {
    ThrowCannot("wait for files");
  }
  return Result;
}

// Each at most once, also one that is set again for a time that has passed.
template <class TRead>
bool TCNorvEventLoop::CallTimers(TCTimers TSClock::*Order, TRead const& ReadClock) {
  bool Called = false;
  for (auto const& [Clock, ID] :
       {std::pair(&m_Monotonic, CLOCK_MONOTONIC), {&m_Boot, CLOCK_BOOTTIME}}) {
    TCTimers& Timers = Clock->*Order;
    if (Timers.empty()) {
      continue;
    }
    Clock->Passed = ReadClock(ID);
    while (!Timers.empty() && (*Timers.begin())->get_Deadline() <= Clock->Passed) {
      TCNorvLoopTimer& Timer = **Timers.begin();
      Timer.SwitchOff();
      Call(Timer);
      Called = true;
    }
  }
  return Called;
}

bool TCNorvEventLoop::CallAll(std::size_t Ready) {
  bool Called = CallTimers(&TSClock::Important, [this](clockid_t Clock) {
    return Clock == CLOCK_MONOTONIC ? m_Now : Read(Clock);  // which was read right before
  });
  Called = CallWorks(m_NextTurn, m_Resting) || Called;
  Called = CallFiles(Ready) || Called;
  return CallTimers(&TSClock::Usual, Read) || Called;
}

bool TCNorvEventLoop::CallFiles(std::size_t Ready) {
  bool Called = false;
  for (std::size_t Index = 0; Index < Ready; ++Index) {
    if (Called) {
      CallTimers(&TSClock::Important, Read);
    }
    epoll_event const Event = m_Ready[Index];
    if (Event.data.u64 == kBootTimerKey) {
      continue;
    }
    TSPlace const& Place = m_Places[static_cast<std::uint32_t>(Event.data.u64)];
    if (Place.File == nullptr || Place.Uses != Event.data.u64 >> 32U || Place.File->m_Events == 0) {
      continue;
    }
    std::uint32_t const Events = Event.events & (Place.File->m_Events | EPOLLERR | EPOLLHUP);
    if (Events == 0) {
      continue;  // no longer wanted
    }
    Call(*Place.File, Events);
    Called = true;
  }
  return Called;
}

// What they were scheduled for before; each is to be found in `Then` when it is called.
bool TCNorvEventLoop::CallWorks(TCWorks& Works, TCWorks& Then) {
  if (Works.empty()) {
    return false;
  }
  while (!Works.empty()) {
    Works.front()->MoveTo(m_Due);
  }
  while (!m_Due.empty()) {
    TCNorvLoopWork& Work = *m_Due.front();
    Work.MoveTo(Then);
    Call(Work);
  }
  return true;
}

// The function is nowhere but here while it runs: it may destroy what it belongs to.
template <class TSource, class... TArguments>
void TCNorvEventLoop::Call(TSource& Source, TArguments... Arguments) {
  auto Function = std::move(Source.m_Function);
  m_Called = &Source;
  try {
    Function(Arguments...);
  } catch (...) {
    LogWithin(*m_LogBudget, [](char const* Note) {
      SyslogError("event loop: a callback has failed: %s%s", FailureText::OfCaught().c_str(), Note);
    });
  }
  if (m_Called == &Source) {
    Source.m_Function = std::move(Function);
  }
  m_Called = nullptr;
}

void TCNorvEventLoop::Forget(void const* Source) {
  if (m_Called == Source) {
    m_Called = nullptr;
  }
}

// ---- files ----

std::uint32_t TCNorvEventLoop::Add(TCNorvWatchedFile& File) {
  if (m_FreePlace == kNoPlace) {
    m_Places.emplace_back().NextFree = kNoPlace;
    m_FreePlace = static_cast<std::uint32_t>(m_Places.size() - 1);
  }
  std::uint32_t const Place = m_FreePlace;
  m_FreePlace = m_Places[Place].NextFree;
  m_Places[Place].File = &File;
  return Place;
}

void TCNorvEventLoop::Remove(std::uint32_t Place) {
  m_Places[Place].File = nullptr;
  ++m_Places[Place].Uses;
  m_Places[Place].NextFree = std::exchange(m_FreePlace, Place);
}
