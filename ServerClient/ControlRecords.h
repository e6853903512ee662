// SPDX-License-Identifier: MIT
// Questions and mails about changes, in the records of their class.
#pragma once

#include <string>

#include "Platform/Messaging/TCNorvMailMessage.h"
#include "PropertyInterface/TCNorvControlObject.h"
#include "ServerClient/TSPropertyPlace.h"

namespace Property {

using TCControlMail = TCNorvMailMessage<TCNorvControlObject>;
using TCControlRecord = TCNorvControlObject::TCRecord;

/// The place that a record is about.
TSPropertyPlace PlaceOf(TCControlRecord const& Record);
void SetPlace(TCControlRecord& Record, TSPropertyPlace const& Place);

/// Who has made a change, and when; empty parts are not known.
struct TSWriter {
  std::string Transaction;
  long long Time = 0;  ///< microseconds since 1970
  std::string User;    ///< number
  std::string Process;
  std::string Program;

  explicit TSWriter(TCControlRecord const& Record);

  /// The name of the user in this system; empty where it has none of that number.
  std::string get_UserName() const;
  /// "anna (panel)". Not for a terminal as it is.
  std::string get_Name() const;
};

/// The number of a user of this system by name; empty where there is none.
std::string NumberOfUser(std::string const& Name);

}  // namespace Property
