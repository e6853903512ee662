// SPDX-License-Identifier: MIT
// Remembers each thread's last stream.
#include "Platform/Messaging/Proxy/ThreadStream.h"

#include "Platform/Messaging/Wire/Frame.h"
#include "Platform/Utility/TCPerThread.h"

namespace {

struct TSThreadStream {
  std::string Mailbox;
  TCNorvMailClassID MailClass{"", -1};
  std::string Name;
};

}  // namespace

std::string const& StreamName(std::string const& Mailbox, TCNorvMailClassID const& MailClass) {
  auto& [LastMailbox, LastClass, Name] = TCPerThread<TSThreadStream>::Get();
  if (LastMailbox != Mailbox || !(LastClass == MailClass)) {
    Wire::RequireNames(Mailbox, MailClass);
    LastMailbox.clear();  // until all fits together again
    Name = Mailbox + ' ' + MailClass.get_Name() + ' ' + std::to_string(MailClass.get_Version());
    LastClass = MailClass;
    LastMailbox = Mailbox;
  }
  return Name;
}
