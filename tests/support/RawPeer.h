// SPDX-License-Identifier: MIT
// A peer that sends bytes and descriptors, with no library that would keep it from anything.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/UnixSocket.h"

/// Sends and waits; never reads what it does not have to.
class TRawPeer {
 public:
  explicit TRawPeer(TCFileDescriptor Socket);

  /// Sends all bytes, with copies of `Files`. False when the connection has ended.
  bool Send(std::string const& Bytes, std::vector<int> const& Files = {});
  /// Authenticates; false when the router does not agree.
  bool Authenticate();
  /// Authenticates, with leave to send descriptors, and greets; false when the router does not
  /// answer.
  bool Greet(std::string const& Identity);
  /// The same without waiting for the end of the authentication: all in one piece.
  bool GreetAtOnce(std::string const& Identity);
  /// Reads until the connection ends; false when it does not within a minute.
  bool HearEnd();

 private:
  bool HearUntil(std::string const& End);

  TCFileDescriptor m_Socket;
};

/// Authentication as the user of the process, with everything that the router offers.
std::string Authentication();

/// A call in the bytes of the bus, little endian. `Body` is already encoded.
struct TSRawCall {
  std::string Path;
  std::string Interface;
  std::string Member;
  std::string Signature;
  std::string Body;
  std::uint32_t Files = 0;
  std::uint32_t Serial = 2;

  std::string Encode() const;
};

/// Appends to a message's body.
class TRawBody {
 public:
  TRawBody& Word(std::uint32_t Value);
  TRawBody& Long(std::uint64_t Value);
  TRawBody& Text(std::string const& Value);
  TRawBody& Pad(std::size_t Alignment);
  std::string const& get() const { return m_Bytes; }

 private:
  std::string m_Bytes;
};

/// The greeting of `Identity`.
std::string RawGreeting(std::string const& Identity);
/// Mail 1 of `Identity`, which gives property 201 of no device the value `Value`.
TSRawCall RawChange(std::string const& Identity, std::string const& Value);
