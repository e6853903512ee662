// SPDX-License-Identifier: MIT
// The chain of all show controls, walked once from the newest to the oldest.
#include "CommonProperties/TCPropertyShowControl.h"

#include "CommonProperties/TCBasicPropertyID.h"
#include "Platform/Utility/TCCriticalSection.h"
#include "Platform/Utility/TCException.h"

namespace Property {

namespace {

char const* const kSource = "../CommonProperties/TCPropertyShowControl";

}  // namespace

TCPropertyShowControl* TCPropertyShowControl::m_First = nullptr;

TCPropertyShowControl::TCPropertyShowControl(TCBasicPropertyID* Node) : m_Property(Node) {
  Chain();
}

TCPropertyShowControl::TCPropertyShowControl(TCBasicPropertyID* Node, bool Show)
    : m_Property(Node), m_Show(Show) {
  Chain();
}

TCPropertyShowControl::~TCPropertyShowControl() = default;

void TCPropertyShowControl::Chain() {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  m_Next = m_First;
  m_First = this;
}

void TCPropertyShowControl::DoInitialize() {
  if (m_Show.IsNull()) {
    throw TCException(kSource, __LINE__, "m_Show.IsNull()==false");
  }
  SetShow(m_Show.get_Value());
}

void TCPropertyShowControl::SetShow(bool Show) {
  if (!TCBasicPropertyID::IsConstructed(*m_Property)) {
    throw TCException(kSource, __LINE__)
        .Format("A property show control is for a property that is not constructed");
  }
  m_Property->SetShow(Show);
}

void TCPropertyShowControl::Initialize() {
  TCCriticalSectionLock Lock(TCBasicPropertyID::m_CSection);
  for (TCPropertyShowControl* Control = m_First; Control != nullptr; Control = Control->m_Next) {
    Control->DoInitialize();
  }
}

}  // namespace Property
