// SPDX-License-Identifier: MIT
// The page that browsers show.
#pragma once

#include <utility>
#include <vector>

#include "PropertyConsole/TCRoutes.h"
#include "PropertyConsole/TSPageFile.h"

namespace Property {

/// The routes of the page's files, for whoever asks: they tell nothing of the device. Unchanging,
/// so that they may be answered on several threads.
class TCPageRoutes {
 public:
  explicit TCPageRoutes(std::vector<TSPageFile> Files) : m_Files(std::move(Files)) {}

  /// Adds its routes, whose handlers use this object.
  void AddTo(TCRoutes& Routes) const;

 private:
  static TSAnswer AnswerOf(TSPageFile const& File, TSRequest const& Request);

  std::vector<TSPageFile> const m_Files;
};

}  // namespace Property
