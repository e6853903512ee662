// SPDX-License-Identifier: MIT
// Loads the schema and the store, and reads it under a guard.
#include "PropertyConsole/TCConsoleStore.h"

#include <atomic>
#include <exception>

#include "CommonProperties/TCCommonPropertyChangeNotifier.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCReadGuard.h"
#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/SystemLog.h"
#include "Platform/Utility/TCMACAddress.h"
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

// Counts changes of the store, and keeps none of them.
class TCConsoleStore::TCCounter : public TCCommonPropertyChangeNotifier {
 public:
  TCCounter() { Enable(); }
  TCCounter(TCCounter const&) = delete;
  TCCounter& operator=(TCCounter const&) = delete;
  ~TCCounter() override { TCPropertyCollection::DelNotifier(this); }

  std::uint64_t get_Count() const { return m_Count.load(); }

 protected:
  bool OnPropQueued() override {
    TCCriticalSectionLock const Lock(m_Lock);
    m_Queue.clear();
    ++m_Count;
    return true;
  }

 private:
  std::atomic<std::uint64_t> m_Count{0};
};

TCConsoleStore::TCConsoleStore(std::vector<std::string> const& Schemas) : m_Start(MakeToken()) {
  LoadSchema(Schemas);
  TCPropertyCollectionDriver::Create(false);
  m_Names = std::make_unique<TCPropertyNames>();
  m_OwnDevice = TCMACAddress::Own("").get_AsString(':');
  m_Counter = std::make_unique<TCCounter>();
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
  State.Revision = m_Start + "-" + std::to_string(m_Counter->get_Count());
  for (TCPropertyID const* const Field : m_Names->get_Fields()) {
    AddValues(*Field, State.Device, State.Values);
  }
  return State;
}

}  // namespace Property
