// SPDX-License-Identifier: MIT
// Stands between processes and the router, and cuts their connections after any frame.
#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Utility/TCFileDescriptor.h"

/// One direction of a connection: frames and descriptors that were read and not written yet.
class TSoakStream {
 public:
  /// Reads a frame, if there is one. False at the end.
  bool Read(int File);
  /// Writes a frame, if it can be; false when nobody takes it.
  bool Write(int File);
  /// Nothing passes beyond so many further bytes: the connection is cut before the frame that
  /// would.
  void Limit(std::size_t Bytes) {
    m_Limit = Bytes;
    m_IsCut = Bytes == 0;
  }

  bool IsCut() const { return m_IsCut; }
  bool IsEmpty() const { return m_Pieces.empty(); }
  bool IsFull() const { return m_Size >= kSizeLimit; }

 private:
  static constexpr std::size_t kSizeLimit = std::size_t{1} << 20;

  struct TSPiece {
    std::string Bytes;
    std::vector<TCFileDescriptor> Files;
  };

  void Take(TSPiece Piece);

  std::deque<TSPiece> m_Pieces;
  std::size_t m_Size = 0;
  std::optional<std::size_t> m_Limit;
  bool m_IsCut = false;
};

/// Accepts connections on ports, sockets of its own, each of which leads to the router's socket.
/// Runs on a thread of its own; operations may be called from any thread.
class TSoakRelay {
 public:
  TSoakRelay(std::string RouterSocket, std::vector<std::string> const& Ports);
  TSoakRelay(TSoakRelay const&) = delete;
  TSoakRelay& operator=(TSoakRelay const&) = delete;
  ~TSoakRelay();

  enum class TEDirection { eToRouter, eFromRouter };

  /// Cuts the connections that the port has now, after so many further bytes in that direction, or
  /// a frame earlier.
  /// False when it has none.
  bool Cut(std::size_t Port, TEDirection Direction, std::size_t Bytes);
  /// The connections that were cut.
  unsigned get_Cuts() const { return m_Cuts; }

 private:
  struct TSLink {
    std::size_t Port;
    TCFileDescriptor Process;
    TCFileDescriptor Router;
    TSoakStream ToRouter;
    TSoakStream FromRouter;
  };

  void Run();
  void Accept(std::size_t Port);
  bool Serve(TSLink& Link, short ProcessEvents, short RouterEvents);
  static bool Pass(TSoakStream& Stream, int From, short Events, int To);

  std::string const m_RouterSocket;
  std::vector<TCFileDescriptor> m_Ports;
  TCFileDescriptor m_Wake;
  std::atomic<unsigned> m_Cuts{0};
  std::atomic<bool> m_Ending{false};
  std::mutex m_Mutex;
  std::list<TSLink> m_Links;  // guarded by m_Mutex
  std::thread m_Thread;       // last: it uses all the others
};
