// SPDX-License-Identifier: MIT
// A mail whose records are of one class.
#pragma once

#include <memory>

#include "Platform/Messaging/TCNorvMessage.h"
#include "Platform/Utility/TCException.h"

/// A mail with records of class T, a subclass of TCNorvMailObject with a default constructor.
template <class T>
class TCNorvMailMessage : public TCNorvMessage {
 public:
  using TCNorvMessage::TCNorvMessage;

  /// Appends a new record and returns it; the message owns it, the caller only fills it.
  /// Throws TCException, the earlier records kept, when T binds no part to the mail's signal.
  T* CreateRecord() {
    auto Object = std::make_unique<T>();
    if (!SetRecordType(Object.get(), RecordCount())) {
      throw TCException("../Platform/Messaging/TCNorvMailMessage", 283,
                        "SetRecordType(Object,RecordCount()) == true")
          .Format("SignalType %s and Signalname %d have no associated records",
                  SignalTypename(get_SignalType()).c_str(), get_SignalName());
    }
    return Object.release();
  }

  /// Record `Index`; throws like GetRecord.
  T* GetMailRecord(int Index) const { return static_cast<T*>(GetRecord(Index)); }

 protected:
  std::unique_ptr<TCNorvMailObject> NewRecord() const override { return std::make_unique<T>(); }
};
