// SPDX-License-Identifier: MIT
// Asks a property server about changes, and sends it what looks after them.
#pragma once

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "PropertyInterface/TCNorvControlObject.h"
#include "tests/unit/PropertyServer/ServiceFixture.h"

using TControlRecord = Property::TCNorvControlObject::TCRecord;
using TControlRecords = std::deque<TControlRecord>;  // they can not be moved
using TControlFiller = std::function<void(TControlRecord&)>;

/// A mail of the class "propertycontrol" with a record for each filler.
TSNorvMailContent Control(Property::PropertyControl::TSSignal Signal,
                          std::vector<TControlFiller> const& Fillers);

// What a record of it says.
TControlFiller Value(int Number, std::string const& Data);
TControlFiller Place(int Number);
TControlFiller Seconds(int Count);
TControlFiller Transaction(std::string const& Number, bool Force = false);

/// The records of such a mail.
TControlRecords Records(TSNorvMailContent const& Mail);

/// The server answers on its own thread, as to processes of any user.
struct TControlFixture : TPropertyServiceFixture {
  void Start(std::string const& Configuration = std::string(),
             Property::TCServerSchema* Schema = nullptr) {
    TPropertyServiceFixture::Start(Property::TEDurability::eFull, Configuration, Schema);
  }
  /// Changes values, as one mail; returns when it is stored.
  void Set(std::vector<TPropertyRecord> const& Records);

  using TSSignal = Property::PropertyControl::TSSignal;

  /// The records of the answer to a question of root's, or of a user's that has no group.
  TControlRecords Ask(
      TSSignal Signal, TControlFiller const& Filler = [](auto&) {}) {
    return AskAs(0, Signal, Filler);
  }
  TControlRecords AskAs(
      unsigned User, TSSignal Signal, TControlFiller const& Filler = [](auto&) {});
  TControlRecords AskMany(TSSignal Signal, std::vector<TControlFiller> const& Fillers);
  /// What becomes of a mail: "transaction N", "nothing" or why it is refused.
  static std::string Send(TSSignal Signal, std::vector<TControlFiller> const& Fillers);
  /// What has become of the last mail of a process.
  static std::string Outcome(TPropertyProxy& Sender);
  /// As Send(), for a process of that user, which has no group.
  std::string SendAs(unsigned User, TSSignal Signal, std::vector<TControlFiller> const& Fillers);
  /// Numbers and texts of the answer to a request for all values.
  static std::string AllTexts();
  /// Why such a question is refused.
  std::string Refusal(
      TSSignal Signal, TControlFiller const& Filler = [](auto&) {});

 private:
  TSNorvMailContent Answer(unsigned User, TSNorvMailContent const& Request);
};
