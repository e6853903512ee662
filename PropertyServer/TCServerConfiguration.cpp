// SPDX-License-Identifier: MIT
// What a server may do and keep.
#include "PropertyServer/TCServerConfiguration.h"

#include <optional>
#include <system_error>

#include "Platform/Utility/TCException.h"
#include "PropertyServer/SystemNames.h"

namespace Property {

namespace {

constexpr char kSource[] = "../PropertyServer/TCServerConfiguration";
constexpr char kDefaultGroup[] = "property";

}  // namespace

TCServerConfiguration::TCServerConfiguration() {
  try {
    if (std::optional<unsigned> const Group = FindGroup(kDefaultGroup)) {
      SetGroup(*Group, kDefaultGroup);
    }
  } catch (std::system_error const& Error) {
    throw TCException(kSource, __LINE__)
        .Format("cannot look up the group \"%s\": %s", kDefaultGroup,
                Error.code().message().c_str());
  }
}

void TCServerConfiguration::SetGroup(gid_t Group, std::string const& Name) {
  m_Rules.SetGroup(Group);
  m_GroupName = Name;
}

std::string TCServerConfiguration::get_Administrators() const {
  return m_GroupName.empty()
             ? "root and the server's own user"
             : "root, the server's own user and members of the group " + m_GroupName;
}

TSServerLimits TCServerConfiguration::get_LimitsOf(TSNorvMailSender const& Sender) const {
  constexpr std::size_t kKeptPart = 4;
  TSServerLimits Limits = m_Limits;
  if (!MayAdminister(Sender)) {
    Limits.Values -= Limits.Values / kKeptPart;
    Limits.Bytes -= Limits.Bytes / kKeptPart;
  }
  return Limits;
}

}  // namespace Property
