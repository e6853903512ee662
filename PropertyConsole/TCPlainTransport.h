// SPDX-License-Identifier: MIT
// Bytes as they are.
#pragma once

#include "PropertyConsole/TCTransport.h"

namespace Property {

class TCPlainTransport : public TCTransport {
 public:
  using TCTransport::TCTransport;

  TSTry Receive(char* Data, std::size_t Size) override;
  TSTry Send(char const* Data, std::size_t Size) override;
  TSTry EndSending() override;
};

}  // namespace Property
