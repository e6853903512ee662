// SPDX-License-Identifier: MIT
// Remembers each thread's last stream.
#include "Platform/Messaging/ThreadStream.h"

#include "Platform/Utility/TCPerThread.h"

namespace {

struct TSThreadStream {
  std::string Mailbox;
  std::string Interface;
  std::string Name;
};

}  // namespace

std::string const& StreamName(std::string const& Mailbox, std::string const& Interface) {
  auto& [LastMailbox, LastInterface, Name] = TCPerThread<TSThreadStream>::Get();
  if (LastMailbox != Mailbox || LastInterface != Interface) {
    LastMailbox.clear();  // until all fits together again
    Name = Mailbox + " " + Interface;
    LastInterface = Interface;
    LastMailbox = Mailbox;
  }
  return Name;
}
