// SPDX-License-Identifier: MIT
// Takes records apart.
#include "PropertyInterface/TCReceivedValues.h"

#include <cstddef>

#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCPerThread.h"
#include "PropertyInterface/TCNorvPropertyObject.h"

namespace Property {
namespace {

constexpr std::size_t kLargeMail = std::size_t{64} << 10;  // what it was read into is not kept

}  // namespace

// Each thread keeps one: to make it takes longer than to read a record, and a bulk load has
// hundreds of thousands.
struct TCReceivedValues::TSReading {
  TCNorvPropertyObject::TCRecord Record;
  std::string MACBuffer;
  std::string DataBuffer;
  std::string LastMAC;  // nearly all are of the same device
  TCMACAddress Device;  // of LastMAC
};

TCReceivedValues::TCReceivedValues(TCNorvMessage const& Mail)
    : m_Reading(TCPerThread<TSReading>::Get()), m_Body(Mail.get_Body(m_Reading.Record)) {}

TCReceivedValues::~TCReceivedValues() {
  if (m_Body->get_Size() > kLargeMail) {
    TCPerThread<TSReading>::Drop();
  }
}

bool TCReceivedValues::Next() {
  TCNorvPropertyObject::TCRecord& Record = m_Reading.Record;
  while (m_NextRecord < m_Body->get_Count()) {
    Record.Decode(m_Body->get_Record(m_NextRecord++));
    if (!Record.m_ID.IsAssigned()) {
      m_IsWhole = m_IsWhole || m_NextRecord == 1;
      continue;
    }
    m_ID = TCPropertyID::Find(Record.m_ID);
    if (m_ID == nullptr) {
      continue;
    }
    m_MAC = &Record.m_MAC.get_AsString(m_Reading.MACBuffer);
    if (*m_MAC != m_Reading.LastMAC) {
      m_Reading.LastMAC = *m_MAC;
      m_Reading.Device = *m_MAC;
    }
    return true;
  }
  return false;
}

TCPropertyKey TCReceivedValues::get_Key() const {
  return TCPropertyKey(*m_ID, m_Reading.Record.m_Link.get_AsRecordID(), m_Reading.Device);
}

bool TCReceivedValues::IsHeld() const {
  return m_Reading.Record.m_Data.IsAssigned();
}

std::string const& TCReceivedValues::get_Data() const {
  return m_Reading.Record.m_Data.get_AsString(m_Reading.DataBuffer);
}

}  // namespace Property
