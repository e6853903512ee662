// SPDX-License-Identifier: MIT
// Encrypts with OpenSSL.
#include "PropertyConsole/TCTLSContext.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <utility>

#include "Platform/Utility/PrintableText.h"
#include "Platform/Utility/TCException.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyConsole/TCTLSContext";

[[noreturn]] void FailToEncrypt(int Line, std::string const& What) {
  std::array<char, 256> Reason{};
  ERR_error_string_n(ERR_get_error(), Reason.data(), Reason.size());
  throw TCException(kSource, Line).Format("%s: %s", PrintableText(What).c_str(), Reason.data());
}

// The handshake is made by the first reading.
class TCTLSTransport : public TCTransport {
 public:
  TCTLSTransport(TCFileDescriptor Socket, SSL_CTX* Context)
      : TCTransport(std::move(Socket)), m_SSL(SSL_new(Context), SSL_free) {
    if (m_SSL == nullptr || SSL_set_fd(m_SSL.get(), get_Socket()) != 1) {
      FailToEncrypt(__LINE__, "cannot encrypt a connection");
    }
    SSL_set_accept_state(m_SSL.get());
  }

  TSTry Receive(char* Data, std::size_t Size) override {
    ERR_clear_error();
    std::size_t Count = 0;
    int const Result = SSL_read_ex(m_SSL.get(), Data, Size, &Count);
    return ResultOf(Result, Count);
  }
  TSTry Send(char const* Data, std::size_t Size) override {
    ERR_clear_error();
    std::size_t Count = 0;
    int const Result = SSL_write_ex(m_SSL.get(), Data, Size, &Count);
    return ResultOf(Result, Count);
  }
  TSTry EndSending() override {
    ERR_clear_error();
    // Where there was no handshake there is no end of it to tell.
    int const Result = SSL_is_init_finished(m_SSL.get()) == 1 ? SSL_shutdown(m_SSL.get()) : 0;
    TSTry const Try = Result < 0 ? ResultOf(Result, 0) : TSTry{0, 0};
    if (Try.Wait == 0) {
      shutdown(get_Socket(), SHUT_WR);
    }
    return Try;
  }

 private:
  TSTry ResultOf(int Result, std::size_t Count) const {
    if (Result > 0) {
      return {static_cast<ssize_t>(Count), 0};
    }
    switch (SSL_get_error(m_SSL.get(), Result)) {
      case SSL_ERROR_WANT_READ:
        return {-1, POLLIN};
      case SSL_ERROR_WANT_WRITE:
        return {-1, POLLOUT};
      case SSL_ERROR_ZERO_RETURN:
        return {0, 0};
      default:
        return {-1, 0};
    }
  }

  std::unique_ptr<SSL, decltype(&SSL_free)> const m_SSL;
};

}  // namespace

TCTLSContext::TCTLSContext(std::string const& Certificate, std::string const& Key)
    : m_Context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free) {
  SSL_CTX* const Context = m_Context.get();
  if (Context == nullptr || SSL_CTX_set_min_proto_version(Context, TLS1_2_VERSION) != 1) {
    FailToEncrypt(__LINE__, "cannot encrypt");
  }
  SSL_CTX_set_options(
      Context, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION | SSL_OP_CIPHER_SERVER_PREFERENCE);
  SSL_CTX_set_mode(Context, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
  if (SSL_CTX_use_certificate_chain_file(Context, Certificate.c_str()) != 1) {
    FailToEncrypt(__LINE__, "cannot use the certificate " + Certificate);
  }
  if (SSL_CTX_use_PrivateKey_file(Context, Key.c_str(), SSL_FILETYPE_PEM) != 1) {
    FailToEncrypt(__LINE__, "cannot use the key " + Key + " with the certificate " + Certificate);
  }
}

std::unique_ptr<TCTransport> TCTLSContext::NewTransport(TCFileDescriptor Socket) const {
  return std::make_unique<TCTLSTransport>(std::move(Socket), m_Context.get());
}

}  // namespace Property
