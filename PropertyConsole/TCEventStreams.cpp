// SPDX-License-Identifier: MIT
// The loop over all streams.
#include "PropertyConsole/TCEventStreams.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <iterator>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyConsole/TCEventStreams";
constexpr int kTick = 500;  // milliseconds until sessions and connection are looked at again

int NewWakeFile() {
  int const File = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (File < 0) {
    throw TCException(kSource, __LINE__)
        .Format("the system has no descriptor left: %s", std::strerror(errno));
  }
  return File;
}

}  // namespace

TCEventStreams::TCEventStreams(TCConsoleStore const& Store, TCServerQuestions& Server,
                               std::function<bool(TSStreamStart const&)> IsIn)
    : m_Store(Store),
      m_IsIn(std::move(IsIn)),
      m_WakeFile(NewWakeFile()),
      m_Feed(Store, Server, [this] { Wake(); }),
      m_Thread([this] { Run(); }) {}

TCEventStreams::~TCEventStreams() {
  {
    TCMutexLock const Lock(m_Lock);
    m_Stops = true;
  }
  Wake();
  m_Thread.join();
}

void TCEventStreams::Add(std::unique_ptr<TCTransport> Transport, TSStreamStart Start) {
  {
    TCMutexLock const Lock(m_Lock);
    m_New.emplace_back(std::move(Transport), std::move(Start), std::chrono::steady_clock::now());
  }
  Wake();
}

void TCEventStreams::Run() {
  while (TakeNew()) {
    try {
      bool const HasMore = ServeAll();
      WaitForWork(HasMore ? 0 : m_Streams.empty() ? -1 : kTick);
    } catch (std::exception const& Failure) {
      // Browsers come back and go on where they were.
      SyslogError("All streams of changes end: %s", PrintableLine(Failure.what()).c_str());
      m_Streams.clear();
    }
  }
}

// False when the end has come.
bool TCEventStreams::TakeNew() {
  TCMutexLock const Lock(m_Lock);
  m_Streams.splice(m_Streams.end(), m_New);
  return !m_Stops;
}

// Answers whether a stream has more to send at once.
bool TCEventStreams::ServeAll() {
  std::uint64_t const Last = m_Feed.get_Events().get_Last();
  std::string const Revision = m_Store.RevisionAfter(Last);
  TCEventStream::TSRound const Round{m_Feed.get_Events(),
                                     m_IsIn,
                                     Revision,
                                     Last,
                                     m_Store.IsConnected(),
                                     std::chrono::steady_clock::now()};
  bool HasMore = false;
  for (auto Stream = m_Streams.begin(); Stream != m_Streams.end();) {
    if (!Stream->Serve(Round)) {
      Stream = m_Streams.erase(Stream);
      continue;
    }
    HasMore = HasMore || Stream->HasMore();
    ++Stream;
  }
  return HasMore;
}

void TCEventStreams::WaitForWork(int Milliseconds) {
  std::vector<pollfd> Files = {{m_WakeFile.get(), POLLIN, 0}};
  for (TCEventStream const& Stream : m_Streams) {
    Files.push_back({Stream.get_Socket(), static_cast<short>(Stream.get_Events() | POLLIN), 0});
  }
  poll(Files.data(), Files.size(), Milliseconds);
  std::uint64_t Count = 0;
  while (read(m_WakeFile.get(), &Count, sizeof(Count)) < 0 && errno == EINTR) {
  }
  std::size_t Index = 1;
  for (auto Stream = m_Streams.begin(); Stream != m_Streams.end(); ++Index) {
    bool const IsHeard = (Files[Index].revents & ~POLLOUT) != 0;
    Stream = IsHeard && !Stream->Hear() ? m_Streams.erase(Stream) : std::next(Stream);
  }
}

void TCEventStreams::Wake() const {
  std::uint64_t const One = 1;
  while (write(m_WakeFile.get(), &One, sizeof(One)) < 0 && errno == EINTR) {
  }
}

}  // namespace Property
