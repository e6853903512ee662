// SPDX-License-Identifier: MIT
// Loads the schema and the store, and reads it under a guard.
#include "PropertyConsole/TCConsoleStore.h"

#include <atomic>
#include <exception>

#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCReadGuard.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCMACAddress.h"
#include "PropertyConsole/QueryParts.h"
#include "PropertyConsole/Tokens.h"
#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "SchemaLibrary/TCSchemaLibraries.h"
#include "SchemaLibrary/TSCurrentValue.h"

namespace Property {
namespace {

thread_local unsigned long CurrentSession = 0;

// A session of the store for one call: what it reads without saying of which device is that
// device's.
class TCDeviceSession {
 public:
  explicit TCDeviceSession(std::string const& Device) : m_Number(++LastNumber()) {
    TCPropertyCollection::SetCurrentSession(m_Number, Device);
    CurrentSession = m_Number;
  }
  TCDeviceSession(TCDeviceSession const&) = delete;
  TCDeviceSession& operator=(TCDeviceSession const&) = delete;
  ~TCDeviceSession() {
    CurrentSession = 0;
    TCPropertyCollection::DeleteSession(m_Number);
  }

 private:
  static std::atomic<unsigned long>& LastNumber() {
    static std::atomic<unsigned long> Number{0};
    return Number;
  }

  unsigned long const m_Number;
};

// A field about whose class nothing is known has no list of values.
std::list<TCCommonPropertyObject> ValuesOf(TCPropertyID const& Field) {
  try {
    return TCPropertyCollection::get()->GetProperties(Field);
  } catch (std::exception const&) {
    return {};
  }
}

bool IsStored(TCPropertyID const& Field) {
  try {
    return TCPropertyCollection::get()->ExistProperty(Field, {}, {});
  } catch (std::exception const&) {
    return false;
  }
}

// A field about whose class nothing is known has no values of its own.
std::optional<std::string> StoredAt(TCPropertyKey const& Place) {
  TCPropertyCollection& Store = *TCPropertyCollection::get();
  std::string const MAC = Place.get_MAC().get_AsString(':');
  try {
    if (Store.ExistProperty(Place.get_ID(), Place.get_Link(), MAC)) {
      return Store.getPropertyData(Place.get_ID(), Place.get_Link(), MAC);
    }
  } catch (std::exception const&) {
  }
  return std::nullopt;
}

void AddValues(TCPropertyID const& Field, std::string const& Device,
               std::vector<TSStoreValue>& Values) {
  TCMACAddress const MAC(IsOfDevices(Field) ? Device : std::string());
  TSStoreValue Own{&Field, std::nullopt, std::nullopt};
  if (IsStored(Field)) {
    Own.Data = TCPropertyCollection::get()->getPropertyData(Field, {}, MAC.get_AsString(':'));
  }
  Values.push_back(std::move(Own));
  for (TCCommonPropertyObject const& Value : ValuesOf(Field)) {
    if (!Value.get_Link().IsNull() && Value.get_MAC() == MAC) {
      Values.push_back({&Field, Value.get_Link().get_AsInteger(), Value.GetRealValue()});
    }
  }
}

void LoadSchema(std::vector<std::string> const& Paths) {
  // Never destroyed: its libraries stay loaded in any case.
  static auto& Libraries = *new TCSchemaLibraries(Paths);
  Libraries.Load();
  for (TSSchemaLibrary const& Library : Libraries.get_Libraries()) {
    if (!Library.Loaded) {
      SyslogError("Left out schema library %s: %s", PrintableLine(Library.File).c_str(),
                  Library.Reason.c_str());
    }
  }
}

}  // namespace

TCConsoleStore::TCConsoleStore(std::vector<std::string> const& Schemas) : m_Start(MakeToken()) {
  LoadSchema(Schemas);
  TCPropertyCollectionDriver::Create(false);
  m_Names = std::make_unique<TCPropertyNames>();
  m_OwnDevice = TCMACAddress::Own("").get_AsString(':');
  m_Changes = std::make_unique<TCChangeLog>();
  TCPropertyCollection::SetSessionCallback([] { return CurrentSession; });
}

TCConsoleStore::~TCConsoleStore() {
  TCPropertyCollection::SetSessionCallback(nullptr);
}

bool TCConsoleStore::IsConnected() const {
  return TCPropertyCollectionDriver::get_Instance()->WaitForMailRouter(0);
}

TSStoreState TCConsoleStore::Read(std::string const& Device) const {
  TSStoreState State;
  State.Device = Device.empty() ? m_OwnDevice : Device;
  TCDeviceSession const Session(State.Device);
  TCReadGuard const Guard;
  State.Revision = RevisionAfter(m_Changes->get_Last());
  for (TCPropertyID const* const Field : m_Names->get_Fields()) {
    AddValues(*Field, State.Device, State.Values);
  }
  return State;
}

TSStoreState TCConsoleStore::ReadAt(std::vector<TCPropertyKey> const& Places) const {
  TSStoreState State;
  TCReadGuard const Guard;
  State.Revision = RevisionAfter(m_Changes->get_Last());
  for (TCPropertyKey const& Place : Places) {
    TSStoreValue Value{&Place.get_ID(), std::nullopt, StoredAt(Place)};
    if (!Place.get_Link().IsNull()) {
      Value.Record = Place.get_Link().get_AsInteger();
    }
    State.Values.push_back(std::move(Value));
  }
  return State;
}

TCPropertyKey TCConsoleStore::PlaceOf(TCPropertyID const& Field, std::optional<int> const& Record,
                                      std::string const& Device) {
  return TCPropertyKey(Field, Record ? Accessories::TCRecordID(*Record) : Accessories::TCRecordID(),
                       IsOfDevices(Field) ? Device : std::string());
}

std::string TCConsoleStore::RevisionAfter(std::uint64_t Number) const {
  return m_Start + "-" + std::to_string(Number);
}

std::optional<std::uint64_t> TCConsoleStore::NumberIn(std::string const& Revision) const {
  if (Revision.compare(0, m_Start.size() + 1, m_Start + "-") != 0) {
    return std::nullopt;
  }
  auto const Number = ReadNumber(Revision.substr(m_Start.size() + 1));
  return Number && *Number >= 0 ? std::optional(static_cast<std::uint64_t>(*Number)) : std::nullopt;
}

}  // namespace Property
