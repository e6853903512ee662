// SPDX-License-Identifier: MIT
// Says why a change is not taken.
#include "PropertyServer/TCChangeRules.h"

namespace Property {

std::string Describe(TCPropertyPlace const& Place) {
  auto const& [Number, Link, MAC] = Place;
  return "property " + std::to_string(Number) +
         (Link.IsNull() ? std::string() : " of record " + Link.get_AsString()) +
         (MAC.Empty() ? std::string() : " of device " + MAC.get_AsString(':'));
}

std::string TCChangeRules::ReasonAgainst(TSNorvMailSender const& Sender,
                                         std::vector<TSPropertyRecord> const& Changes,
                                         std::vector<TCPropertyPlace>& Places) const {
  std::size_t Bytes = 0;
  for (TSPropertyRecord const& Change : Changes) {
    std::string Reason = ReasonAgainst(Sender, Change);
    if (!Reason.empty()) {
      Places.push_back(PlaceOf(Change));
      return Reason;
    }
    Bytes += Change.Data.size();
  }
  std::size_t const Limit = m_Configuration->get_Limits().MailBytes;
  if (Bytes > Limit) {
    return "the values have " + std::to_string(Bytes) + " bytes, at most " + std::to_string(Limit) +
           " are allowed in one mail (mail_bytes)";
  }
  return std::string();
}

std::string TCChangeRules::ReasonAgainst(TSNorvMailSender const& Sender,
                                         TSPropertyRecord const& Change) const {
  if (!m_Configuration->MayWrite(Sender, Change.Number)) {
    return "user " + std::to_string(Sender.User) + " may not write property " +
           std::to_string(Change.Number);
  }
  std::size_t const Limit = m_Configuration->get_Limits().ValueBytes;
  if (Change.Data.size() > Limit) {
    return "property " + std::to_string(Change.Number) + " has " +
           std::to_string(Change.Data.size()) + " bytes, at most " + std::to_string(Limit) +
           " are allowed (value_bytes)";
  }
  return m_Schema != nullptr
             ? m_Schema->ReasonAgainst(Change, m_Configuration->IsSecret(Change.Number))
             : std::string();
}

}  // namespace Property
