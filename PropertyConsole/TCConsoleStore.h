// SPDX-License-Identifier: MIT
// The console's copy of the values.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyKey.h"
#include "PropertyConsole/TCChangeLog.h"
#include "SchemaLibrary/TCPropertyNames.h"

namespace Property {

/// A value as the store holds it.
struct TSStoreValue {
  TCPropertyID const* Field = nullptr;
  std::optional<int> Record;
  std::optional<std::string> Data;  ///< null where none is stored
};

/// What the store holds at one moment.
struct TSStoreState {
  std::string Device;
  std::string Revision;  ///< another one whenever a value has changed since, and after each start
  std::vector<TSStoreValue> Values;
};

/// The schema and the store of the process, which is one client of the property server among
/// others. Each call works in a session of the store of its own, with the device that was chosen.
/// One per process, for its whole life. Synchronised.
class TCConsoleStore {
 public:
  /// Loads schema libraries, as TCSchemaLibraries finds them, and then the values of all devices;
  /// waits for the server without limit. What is wrong with a library is logged. Throws TCException
  /// when the values cannot be had.
  explicit TCConsoleStore(std::vector<std::string> const& Schemas);
  TCConsoleStore(TCConsoleStore const&) = delete;
  TCConsoleStore& operator=(TCConsoleStore const&) = delete;
  ~TCConsoleStore();

  TCPropertyNames const& get_Names() const { return *m_Names; }
  /// This device's own address; empty where it has none.
  std::string const& get_OwnDevice() const { return m_OwnDevice; }
  /// Whether the server is reached at this moment; while it is not, values may be old.
  bool IsConnected() const;
  /// All values of a device and of none, in the order of the schema, with those of records behind
  /// that of no record. `Device` is an address as the store writes it, or empty for this device.
  TSStoreState Read(std::string const& Device) const;
  /// The values at these places, in that order; the state is of no device.
  TSStoreState ReadAt(std::vector<TCPropertyKey> const& Places) const;
  /// The place of a field's value: of the device, or, where it has none of its own, of none.
  static TCPropertyKey PlaceOf(TCPropertyID const& Field, std::optional<int> const& Record,
                               std::string const& Device);

  TCChangeLog& get_Changes() const { return *m_Changes; }
  /// The revision behind the change with that number.
  std::string RevisionAfter(std::uint64_t Number) const;
  /// The number of the last change before that revision; none when it is none of this process.
  std::optional<std::uint64_t> NumberIn(std::string const& Revision) const;

 private:
  std::unique_ptr<TCPropertyNames> m_Names;
  std::string m_OwnDevice;
  std::string m_Start;  // of the revisions of this process
  std::unique_ptr<TCChangeLog> m_Changes;
};

}  // namespace Property
