// SPDX-License-Identifier: MIT
// Finds the record part that a signal carries.
#include "Platform/Messaging/TCNorvMailObject.h"

#include <cstddef>

namespace {

constexpr std::size_t kUsualBindings = 6;

}  // namespace

TCNorvMailObject::~TCNorvMailObject() = default;

void TCNorvMailObject::AssignRecordType(TCNorvMailClassID const& MailClass, TENorvSignalType Type,
                                        int Name, TCNorvRecordObject& Record, int /*Reserved*/) {
  if (m_Bindings.empty()) {
    m_Bindings.reserve(kUsualBindings);  // an object is made for every record that is written
  }
  m_Bindings.push_back({MailClass.get_ID(), Type, Name, &Record});
}

TCNorvRecordObject* TCNorvMailObject::Find(TCNorvMailClassID const& MailClass, int Type, int Name) {
  for (TSBinding const& Binding : m_Bindings) {
    if (Binding.MailClass == MailClass.get_ID() && Binding.Type == Type && Binding.Name == Name) {
      return Binding.Record;
    }
  }
  return nullptr;
}
