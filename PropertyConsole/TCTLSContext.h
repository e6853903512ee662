// SPDX-License-Identifier: MIT
// The certificate with which connections are encrypted.
#pragma once

#include <memory>
#include <string>

#include "Platform/Utility/TCFileDescriptor.h"
#include "PropertyConsole/TCTransport.h"

struct ssl_ctx_st;

namespace Property {

/// Makes encrypted transports (TLS 1.2 and later). Unchanging, so that several threads may use it.
class TCTLSContext {
 public:
  /// Reads the certificate, and those above it, and its key, all PEM. Throws TCException when they
  /// cannot be read or do not belong together.
  TCTLSContext(std::string const& Certificate, std::string const& Key);

  std::unique_ptr<TCTransport> NewTransport(TCFileDescriptor Socket) const;

 private:
  std::shared_ptr<ssl_ctx_st> const m_Context;
};

}  // namespace Property
