// SPDX-License-Identifier: MIT
// Where pages begin to hear of changes.
#pragma once

#include <cstddef>
#include <memory>

#include "PropertyConsole/TCEventStreams.h"
#include "PropertyConsole/TCRoutes.h"
#include "PropertyConsole/TCStreamPlaces.h"

namespace Property {

/// The route /api/v1/events. Synchronised.
class TCEventRoutes {
 public:
  TCEventRoutes(TCConsoleStore const& Store, TCEventStreams& Streams);

  /// Adds its routes, whose handlers use this object.
  void AddTo(TCRoutes& Routes);
  /// How many streams there are.
  std::size_t get_Count() const { return m_Places->get_Count(); }
  /// The same routes without handlers, for who wants to know which there are.
  static TCRoutes Listed();

 private:
  TSAnswer GetEvents(TSCall const& Call);

  TCConsoleStore const& m_Store;
  TCEventStreams& m_Streams;
  std::shared_ptr<TCStreamPlaces> const m_Places;
};

}  // namespace Property
