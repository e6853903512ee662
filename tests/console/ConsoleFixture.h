// SPDX-License-Identifier: MIT
// A console that the test starts, and what browsers and others send to it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Utility/TCFileDescriptor.h"
#include "tests/integration/ProcessFixture.h"

/// An answer as it came over the wire.
struct TReply {
  int m_Status = 0;  ///< 0: no answer
  std::multimap<std::string, std::string> m_Headers;
  std::string m_Body;

  /// "" for none.
  std::string Header(std::string const& Name) const;
  /// The member "code" of a problem; "" for none.
  std::string Code() const;
};

/// A connection on which a test sends what it wants.
class TConnection {
 public:
  /// Throws std::system_error when nobody listens there.
  explicit TConnection(int Port);

  /// False when the peer has ended the connection.
  bool Send(std::string const& Bytes) const;
  /// What comes next; "" at the end of the connection.
  std::string HearSome() const;
  /// All that comes until the peer ends the connection.
  std::string HearAll() const;
  /// Says that nothing more is sent.
  void EndSending() const;

 private:
  TCFileDescriptor m_Socket;
};

class TConsoleFixture : public TProcessFixture {
 protected:
  /// Starts a server, unless one runs, and the console with the users, and waits until both are
  /// ready. Both know the schema of the tests of the command; 212 is a secret.
  TConsoleFixture();
  void StartConsole(std::vector<std::string> const& Options = {});
  /// The same without starting a server.
  void StartConsoleAlone(std::vector<std::string> const& Options = {});
  /// Runs the command to its end, with `Input` as its standard input; answers its exit code.
  int Command(std::vector<std::string> const& Arguments, std::string const& Input = "") const;
  /// Adds a user, by the command.
  void AddUser(std::string const& Name, std::string const& Role) const;

  /// Sends a request and hears the answer.
  TReply Ask(std::string const& Method, std::string const& Path, std::string const& Body = "",
             std::vector<std::string> const& Headers = {}) const;
  /// The same with bytes of the test's own.
  TReply Exchange(std::string const& Bytes) const;
  /// The same as who has signed in.
  TReply AskAs(std::vector<std::string> const& Page, std::string const& Method,
               std::string const& Path, std::string const& Body = "") const;
  /// The headers that the page of a user sends.
  std::vector<std::string> SignIn(std::string const& User) const;
  TReply TrySignIn(std::string const& User, std::string const& Password) const;

  static constexpr char kPassword[] = "correct horse";
  static constexpr char kSession[] = "/api/v1/session";

  /// Runs the property command, with `Input` as its standard input.
  void Property(std::vector<std::string> const& Arguments, std::string const& Input = "") const;
  /// The options with which a console finds server and schema.
  std::vector<std::string> ConsoleCommand(std::vector<std::string> const& Options) const;
  std::unique_ptr<TProcess> StartSchemaServer() const;

  std::unique_ptr<TProcess> m_Server;
  std::unique_ptr<TProcess> m_Console;
  int m_Port = 0;
};
