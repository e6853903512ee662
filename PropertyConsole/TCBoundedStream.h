// SPDX-License-Identifier: MIT
// A connection that takes no more time and bytes than a request may.
#pragma once

#include <httplib.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "PropertyConsole/TCTransport.h"

namespace Property {

struct TSStreamLimits {
  std::size_t HeadBytes = std::size_t{16} << 10;
  std::chrono::milliseconds ReadTime{10000};   ///< for the whole request
  std::chrono::milliseconds WriteTime{60000};  ///< for the whole answer
};

/// What the HTTP library reads a request from and writes its answer to. However slowly or much a
/// peer sends, reading fails when the request's time is over, its bytes are spent, or the server
/// is to end. Used by one thread.
class TCBoundedStream : public httplib::Stream {
 public:
  /// `StopFile` becomes readable when the server is to end.
  TCBoundedStream(std::unique_ptr<TCTransport> Transport, std::string Peer, int StopFile,
                  TSStreamLimits const& Limits);

  /// The head is read: so many bytes may follow it.
  void AllowBody(std::size_t Bytes) { m_Allowed = Bytes; }
  /// Why reading has failed.
  bool HasSentTooMuch() const { return m_HasSentTooMuch; }
  bool IsLate() const { return m_IsLate; }
  /// Gives the connection away; nothing else may be done with this any more.
  std::unique_ptr<TCTransport> Release() { return std::move(m_Transport); }
  /// Ends the sending and reads what still comes, for a moment: a peer that is answered before it
  /// has sent all would otherwise lose the answer.
  void Finish();

  bool is_readable() const override { return true; }
  bool is_writable() const override { return true; }
  ssize_t read(char* Data, std::size_t Size) override;
  ssize_t write(char const* Data, std::size_t Size) override;
  void get_remote_ip_and_port(std::string& Address, int& Port) const override;
  void get_local_ip_and_port(std::string& Address, int& Port) const override;
  socket_t socket() const override { return m_Transport->get_Socket(); }

 private:
  using TCTime = std::chrono::steady_clock::time_point;

  bool Wait(short Event, TCTime Deadline, bool ObeysStop);
  bool Fill();

  std::unique_ptr<TCTransport> m_Transport;
  std::string const m_Peer;
  int const m_StopFile;
  TSStreamLimits const m_Limits;
  TCTime const m_ReadDeadline;
  TCTime m_WriteDeadline;
  bool m_Writes = false;
  std::size_t m_Allowed;  // bytes that may still be read
  bool m_HasSentTooMuch = false;
  bool m_IsLate = false;
  std::array<char, 4096> m_Buffer{};
  std::size_t m_Begin = 0;
  std::size_t m_End = 0;
};

}  // namespace Property
