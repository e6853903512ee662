// SPDX-License-Identifier: MIT
// The driver with a property server of this process, which can be ended and started again.
#pragma once

#include <gmock/gmock.h>

#include <functional>
#include <string>

#include "PropertyInterface/TCPropertyCollectionDriver.h"
#include "PropertyInterface/TCPropertyReceipt.h"
#include "tests/unit/CommonProperties/CaughtException.h"
#include "tests/unit/CommonProperties/StoreSchema.h"
#include "tests/unit/PropertyServer/ServiceFixture.h"

/// The server refuses values of more than four bytes.
inline constexpr char kSmallValues[] = "[limits]\nvalue_bytes = 4\n";
inline constexpr char kTooLarge[] = "too large";

struct TReceiptFixture : TPropertyServiceFixture {
  ~TReceiptFixture() override {
    if (Driver() != nullptr) {
      Driver()->Close();
    }
  }

  static Property::TCPropertyCollectionDriver* Driver() {
    return Property::TCPropertyCollectionDriver::get_Instance();
  }

  void StartServer(Property::TEDurability Durability = Property::TEDurability::eFull) {
    Start(Durability, kSmallValues);
  }

  void StartBoth() {
    StartServer();
    Property::TCPropertyCollectionDriver::Create(false);
  }

  /// What becomes of the change that `Receipt` is of: "durable", "timed out" and so on; for a
  /// refused one the reason and the numbers of the values.
  static std::string Outcome(Property::TCPropertyReceipt const& Receipt,
                             int Timeout = kPatienceMilliseconds) {
    Property::TSPropertyReceipt const Result = Receipt.Wait(Timeout);
    switch (Result.Outcome) {
      case Property::eReceiptDurable:
        return Result.Complete ? "durable" : "durable, not complete";
      case Property::eReceiptTimedOut:
        return "timed out";
      case Property::eReceiptClosed:
        return "closed";
      case Property::eReceiptUnknown:
        return "unknown";
      case Property::eReceiptRefused:
        break;
    }
    std::string Text = "refused";
    for (Property::TSPropertyRefusal const& Refusal : Result.Refusals) {
      for (Property::TCPropertyKey const& Key : Refusal.Keys) {
        Text += " " + std::to_string(Key.get_ID().get_Number());
      }
      Text += ": " + Refusal.Reason + ";";
    }
    return Text + (Result.Complete ? "" : " not complete");
  }

  TStoreSchema m_Schema;
};
