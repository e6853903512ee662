// SPDX-License-Identifier: MIT
// Keeps the newest refusals and says what they mean for a receipt.
#include "PropertyInterface/TCRefusalLedger.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "CommonProperties/TCPropertyID.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"
#include "PropertyInterface/TCNorvControlObject.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyInterface/TCRefusalLedger";
constexpr std::size_t kOverhead = 256;  // bytes, of a mail and of a place

std::uint64_t NumberIn(TCNorvField const& Field) {
  bool IsNumber = true;
  long long const Number = StringToBigInt(Field.get_AsString(), IsNumber);
  if (!IsNumber || Number <= 0) {
    throw TCException(kSource, __LINE__).Format("Malformed mail: a refusal of no mail");
  }
  return static_cast<std::uint64_t>(Number);
}

TCRefusalLedger::TSRefusedMail::TSPlace PlaceIn(TCNorvControlObject::TCRecord const& Record) {
  TCRefusalLedger::TSRefusedMail::TSPlace Place;
  Place.Number = Record.m_ID;
  Place.Link = Record.m_Link.get_AsRecordID();
  Place.MAC = TCMACAddress(Record.m_MAC.get_AsString());
  Place.Standing = Record.m_Held.IsAssigned();
  if (Record.m_Held.get_AsBool()) {
    Place.Data = Record.m_Data.get_AsString();
  }
  return Place;
}

// Null also for the number of something else than a field.
TCPropertyID const* Find(int Number) {
  try {
    return TCPropertyID::Find(Number);
  } catch (TCException const&) {
    return nullptr;
  }
}

}  // namespace

TCRefusalLedger::TSTold TCRefusalLedger::Read(TSNorvMailContent const& Content) {
  TCNorvControlObject::TCRecord Record;
  std::shared_ptr<TCNorvMailBody const> const& Body = Content.Body;
  if (Body->get_Count() > 0 && Body->get_Signature() != Record.get_Signature()) {
    throw TCException(kSource, __LINE__).Format("Malformed mail: records of another layout");
  }
  TSTold Told;
  for (int Index = 0; Index < Body->get_Count(); ++Index) {
    Record.Decode(Body->get_Record(Index));
    std::uint64_t const Number = NumberIn(Record.m_Mail);
    if (!Record.m_Refused.get_AsBool()) {
      Told.Forgotten = std::max(Told.Forgotten, Number);
      continue;
    }
    if (Told.Mails.empty() || Told.Mails.back().Number != Number) {
      Told.Mails.push_back({Number, Record.m_Text.get_AsString(), {}});
    }
    if (Record.m_ID.IsAssigned()) {
      Told.Mails.back().Places.push_back(PlaceIn(Record));
    }
  }
  return Told;
}

TSPropertyRefusal TCRefusalLedger::Resolve(TSRefusedMail const& Mail) {
  TSPropertyRefusal Refusal;
  Refusal.Reason = Mail.Reason;
  for (TSRefusedMail::TSPlace const& Place : Mail.Places) {
    TCPropertyID const* const ID = Find(Place.Number);
    if (ID == nullptr) {
      continue;
    }
    Refusal.Keys.emplace_back(*ID, Place.Link, Place.MAC);
    if (Place.Standing) {
      Refusal.Standing.push_back({Refusal.Keys.back(), Place.Data});
    }
  }
  return Refusal;
}

void TCRefusalLedger::Take(TSNorvMailContent const& Content, std::uint64_t Acknowledged) {
  try {
    TSTold Told = Read(Content);
    TCMutexLock const Lock(m_Mutex);
    if (Told.Forgotten > Acknowledged) {
      NoteUnknown(Acknowledged + 1, Told.Forgotten);
    }
    for (TSRefusedMail& Mail : Told.Mails) {
      if (Mail.Number > m_LastNoted) {
        Note(std::move(Mail));
      }
    }
  } catch (TCException const&) {
    TCMutexLock const Lock(m_Mutex);
    NoteUnknown(Acknowledged + 1, std::numeric_limits<std::uint64_t>::max());
    throw;
  }
}

std::size_t TCRefusalLedger::SizeOf(TSRefusedMail const& Mail) {
  std::size_t Size = kOverhead + Mail.Reason.size();
  for (TSRefusedMail::TSPlace const& Place : Mail.Places) {
    Size += kOverhead + (Place.Data ? Place.Data->size() : 0);
  }
  return Size;
}

void TCRefusalLedger::Note(TSRefusedMail Mail) {
  std::size_t const Size = SizeOf(Mail);
  std::uint64_t const Number = Mail.Number;
  m_Mails.push_back(std::move(Mail));
  m_LastNoted = Number;
  m_Bytes += Size;
  while (m_Mails.size() > kMostMails || (m_Bytes > kMostBytes && m_Mails.size() > 1)) {
    m_Bytes -= SizeOf(m_Mails.front());
    m_Dropped = m_Mails.front().Number;
    m_Mails.pop_front();
  }
}

// Several such ranges become one: rather unknown than wrong.
void TCRefusalLedger::NoteUnknown(std::uint64_t First, std::uint64_t Last) {
  m_FirstUnknown = m_LastUnknown == 0 ? First : std::min(m_FirstUnknown, First);
  m_LastUnknown = std::max(m_LastUnknown, Last);
}

TSPropertyReceipt TCRefusalLedger::Look(std::uint64_t First, std::uint64_t Last) const {
  TSPropertyReceipt Receipt;
  std::vector<TSRefusedMail> Refused;
  bool SomeDropped = false;
  {
    TCMutexLock const Lock(m_Mutex);
    for (TSRefusedMail const& Mail : m_Mails) {
      if (Mail.Number >= First && Mail.Number <= Last) {
        Refused.push_back(Mail);
      }
    }
    SomeDropped = m_Dropped >= First && m_Dropped <= Last;
    bool const SomeUnknown = m_LastUnknown >= First && m_FirstUnknown <= Last;
    Receipt.Complete = m_Dropped < First && !SomeUnknown;
  }
  for (TSRefusedMail const& Mail : Refused) {
    Receipt.Refusals.push_back(Resolve(Mail));
  }
  if (!Refused.empty() || SomeDropped) {
    Receipt.Outcome = eReceiptRefused;
  } else if (!Receipt.Complete) {
    Receipt.Outcome = eReceiptUnknown;
  }
  return Receipt;
}

}  // namespace Property
