// SPDX-License-Identifier: MIT
// A file descriptor that an event loop watches.
#pragma once

#include <cstdint>
#include <functional>

#include "Platform/PlatformExport.h"

class TCNorvEventLoop;

/// Has a function called in every turn in which the file is ready, from its construction to its
/// destruction. Must go before the descriptor is closed. Belongs to the loop's thread.
class PROPERTY_PLATFORM_EXPORT TCNorvWatchedFile {
 public:
  /// Gets what the file is ready for: of what is watched, and EPOLLERR and EPOLLHUP.
  using TCOnReady = std::function<void(std::uint32_t Events)>;

  /// `Events` are those of epoll: EPOLLIN, EPOLLOUT, EPOLLRDHUP, EPOLLPRI. Throws TCException when
  /// the file can not be watched, or is already, or the system watches as many as it can;
  /// std::bad_alloc without memory.
  TCNorvWatchedFile(TCNorvEventLoop& Loop, int File, std::uint32_t Events, TCOnReady OnReady);
  TCNorvWatchedFile(TCNorvWatchedFile const&) = delete;
  TCNorvWatchedFile& operator=(TCNorvWatchedFile const&) = delete;
  ~TCNorvWatchedFile();

  /// Watches for these from now on; without any nothing is called, not even when the file fails.
  /// Throws like the constructor, with the former ones still watched, but only when there were
  /// none.
  void SetEvents(std::uint32_t Events);
  std::uint32_t get_Events() const { return m_Events; }

 private:
  friend class TCNorvEventLoop;

  void Change(int Operation, std::uint32_t Events);

  TCNorvEventLoop& m_Loop;
  int const m_File;
  std::uint32_t m_Events = 0;
  TCOnReady m_Function;
  std::uint32_t const m_Place;
};
