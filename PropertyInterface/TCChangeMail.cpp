// SPDX-License-Identifier: MIT
// Puts changes into records.
#include "PropertyInterface/TCChangeMail.h"

#include <cstddef>
#include <memory>
#include <utility>

#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCPerThread.h"
#include "PropertyInterface/PropertyProtocol.h"
#include "PropertyInterface/TCNorvPropertyObject.h"

namespace Property {
namespace {

constexpr std::size_t kLargeChange = std::size_t{64} << 10;  // what it was encoded with is not kept

// To make one takes as long as to encode what it holds.
TCNorvPropertyObject& Scratch() {
  return TCPerThread<TCNorvPropertyObject>::Get();
}

}  // namespace

TCChangeMail::TCChangeMail() : m_Writer(Scratch().get_Record().get_Signature()) {}

void TCChangeMail::Append(TCCommonPropertyObject const& Object) {
  Scratch().get_Record().m_Link.Unassign();  // SetRecord leaves it alone for a null link
  Scratch().SetRecord(Object.get_ID().get_Number(), Object.GetRealValue(), Object.get_Link(), false,
                      Object.get_MAC().get_AsString(':'));
  Scratch().get_Record().Encode(m_Writer);
}

TSNorvMailContent TCChangeMail::Finish() {
  std::shared_ptr<TCNorvMailBody const> Body = m_Writer.Finish();
  if (Body->get_Size() > kLargeChange) {
    TCPerThread<TCNorvPropertyObject>::Drop();
  }
  return {TCNorvPropertyObject::m_MailClassID, PropertyProtocol::kChange.Type,
          PropertyProtocol::kChange.Name, std::move(Body)};
}

}  // namespace Property
