// SPDX-License-Identifier: MIT
// Takes values from the records of the property protocol and puts them into such records.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/Messaging/TCNorvMessage.h"
#include "PropertyInterface/TCNorvPropertyObject.h"
#include "PropertyServer/TSPropertyRecord.h"

namespace Property {

/// Reads and writes the records of the property mail class, one at a time. What it reads comes from
/// outside: every reading throws TCException for records of another layout, and for those that name
/// no property or have a link or a device that can not be read.
///
/// Used by one thread at a time.
class TCValueRecords {
 public:
  /// All records of a mail.
  std::vector<TSPropertyRecord> ReadAll(TSNorvMailContent const& Content);
  /// What the only record of a request asks for.
  TCPropertyPlace ReadPlace(TSNorvMailContent const& Request);
  /// Whose values a request for all is for.
  int ReadAction(TSNorvMailContent const& Request);

  TCNorvMailBody::TCWriter NewWriter();
  void Append(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place,
              std::string const& Data, bool Loaded);
  /// The same for a value that is not held and for one that the receiver may not read: it is not
  /// told which exist.
  void AppendNone(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place);
  /// A value that there was, and is no longer, for everybody who may read it.
  void AppendRemoved(TCNorvMailBody::TCWriter& Writer, TCPropertyPlace const& Place);
  /// The beginning of the whole: what does not follow it is not held, or not for the reader.
  static void AppendWhole(TCNorvMailBody::TCWriter& Writer);

  /// Decodes a record that was written here.
  TCNorvPropertyObject::TCRecord const& Decode(std::string_view Record);

 private:
  TSPropertyRecord Read(std::string_view Record);
  TCNorvPropertyObject::TCRecord& Fill(TCPropertyPlace const& Place, std::string const& Data,
                                       bool Loaded);

  TCNorvPropertyObject m_Scratch;
};

}  // namespace Property
