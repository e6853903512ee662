// SPDX-License-Identifier: MIT
// Any text is a configuration or is refused; what a configuration grants does not contradict
// itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <limits>
#include <string>

#include "Platform/Utility/TCException.h"
#include "PropertyServer/TCServerConfiguration.h"

namespace {

void Require(bool Condition) {
  if (!Condition) {
    std::abort();
  }
}

void RequireConsistency(Property::TCServerConfiguration const& Configuration,
                        TSNorvMailSender const& Sender) {
  for (int const Number : {-1, 0, 1, 100, 205, std::numeric_limits<int>::max()}) {
    bool const Reads = Configuration.MayRead(Sender, Number);
    bool const Writes = Configuration.MayWrite(Sender, Number);
    Require(Configuration.MayConnect(Sender) || (!Reads && !Writes));
    Require(Reads || !Configuration.ReadsEverything(Sender));
  }
  Require(!Configuration.IsSecret(-1));
}

TSNorvMailSender MakeSender(uid_t User, gid_t Group) {
  TSNorvMailSender Sender;
  Sender.User = User;
  Sender.Group = Group;
  return Sender;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* Data, std::size_t Size) {
  std::string const Text(Data, Data + Size);
  try {
    auto const Configuration = Property::TCServerConfiguration::Parse(Text, "fuzzed.toml");
    RequireConsistency(Configuration, MakeSender(0, 0));
    RequireConsistency(Configuration, MakeSender(1, 1));
    RequireConsistency(Configuration, MakeSender(4001, 7000));
  } catch (TCException const& Refusal) {
    Require(Refusal.get_Message().find('\n') == std::string::npos);
  }
  return 0;
}
