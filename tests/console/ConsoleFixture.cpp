// SPDX-License-Identifier: MIT
// Starts consoles, sends bytes and reads answers.
#include "tests/console/ConsoleFixture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cctype>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <system_error>

namespace {

// Whatever a described address answers to a described method is described, too.
void ExpectDescribed(std::string const& Method, std::string const& Path, int Status) {
  static auto const Description = nlohmann::json::parse(std::ifstream(CONSOLE_DESCRIPTION));
  std::string Name = Method == "HEAD" ? "GET" : Method;
  for (char& Letter : Name) {
    Letter = static_cast<char>(std::tolower(Letter));
  }
  auto const& Paths = Description.at("paths");
  // A transaction's number has a place in the path.
  std::string const Described =
      std::regex_replace(Path, std::regex("^(/api/v1/transactions/)[^/]+"), "$1{transaction}");
  if (Paths.contains(Described) && Paths.at(Described).contains(Name)) {
    EXPECT_TRUE(Paths.at(Described).at(Name).at("responses").contains(std::to_string(Status)))
        << Method << " " << Path << " answers " << Status;
  }
}

}  // namespace

std::string TReply::Header(std::string const& Name) const {
  auto const Found = m_Headers.find(Name);
  return Found != m_Headers.end() ? Found->second : "";
}

std::string TReply::Code() const {
  auto const Object = nlohmann::json::parse(m_Body, nullptr, false);
  return Object.is_object() ? Object.value("code", "") : "";
}

TConnection::TConnection(int Port) : m_Socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in Address{};
  Address.sin_family = AF_INET;
  Address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  Address.sin_port = htons(static_cast<std::uint16_t>(Port));
  timeval const Patience = {60, 0};
  setsockopt(m_Socket.get(), SOL_SOCKET, SO_RCVTIMEO, &Patience, sizeof(Patience));
  setsockopt(m_Socket.get(), SOL_SOCKET, SO_SNDTIMEO, &Patience, sizeof(Patience));
  if (connect(m_Socket.get(), reinterpret_cast<sockaddr*>(&Address), sizeof(Address)) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot connect");
  }
}

bool TConnection::Send(std::string const& Bytes) const {
  std::size_t Sent = 0;
  while (Sent < Bytes.size()) {
    ssize_t const Count =
        send(m_Socket.get(), Bytes.data() + Sent, Bytes.size() - Sent, MSG_NOSIGNAL);
    if (Count <= 0) {
      return false;
    }
    Sent += static_cast<std::size_t>(Count);
  }
  return true;
}

std::string TConnection::HearSome() const {
  char Bytes[65536];
  ssize_t const Count = recv(m_Socket.get(), Bytes, sizeof(Bytes), 0);
  EXPECT_GE(Count, 0) << "the connection has not ended well";
  return Count > 0 ? std::string(Bytes, static_cast<std::size_t>(Count)) : std::string();
}

std::string TConnection::HearAll() const {
  std::string Heard;
  for (std::string Piece = HearSome(); !Piece.empty(); Piece = HearSome()) {
    Heard += Piece;
  }
  return Heard;
}

void TConnection::EndSending() const {
  shutdown(m_Socket.get(), SHUT_WR);
}

TConsoleFixture::TConsoleFixture() {
  // In a place that nobody else can change: a checkout may belong to another user.
  std::filesystem::create_directory(File("schema"));
  std::filesystem::copy_file(CONSOLE_SCHEMA, File("schema/schema.so"));
  std::ofstream(File("server.toml")) << "secret = [212]\n";
}

std::vector<std::string> TConsoleFixture::ConsoleCommand(
    std::vector<std::string> const& Options) const {
  std::vector<std::string> Command = {CONSOLE_PROGRAM, "--port",      "0",
                                      "--users",       File("users"), "--address",
                                      Address(),       "--schema",    File("schema")};
  Command.insert(Command.end(), Options.begin(), Options.end());
  return Command;
}

std::unique_ptr<TProcess> TConsoleFixture::StartSchemaServer() const {
  return StartServer({"--schema", File("schema"), "--config", File("server.toml")});
}

void TConsoleFixture::StartConsole(std::vector<std::string> const& Options) {
  if (m_Server == nullptr) {
    m_Server = StartSchemaServer();
  }
  StartConsoleAlone(Options);
}

void TConsoleFixture::StartConsoleAlone(std::vector<std::string> const& Options) {
  m_Console = std::make_unique<TProcess>(
      ConsoleCommand(Options),
      std::map<std::string, std::string>{{"PROPERTY_OWN_MAC", kThisDevice}});
  std::string const Line = m_Console->Hear();
  std::string const Mark = "://127.0.0.1:";
  std::size_t const Place = Line.find(Mark);
  ASSERT_EQ(Line.substr(0, 11), "ready: http");
  m_Port = std::stoi(Line.substr(Place + Mark.size()));
}

void TConsoleFixture::Property(std::vector<std::string> const& Arguments,
                               std::string const& Input) const {
  std::vector<std::string> Line = {TOOL_PROGRAM, "--address", Address(), "--schema",
                                   File("schema")};
  Line.insert(Line.end(), Arguments.begin(), Arguments.end());
  TProcess Tool(Line, {{"PROPERTY_OWN_MAC", kThisDevice}});
  if (!Input.empty()) {
    Tool.Say(Input);
  }
  ASSERT_EQ(Tool.End(), 0) << Tool.Errors();
}

int TConsoleFixture::Command(std::vector<std::string> const& Arguments,
                             std::string const& Input) const {
  std::vector<std::string> Line = {CONSOLE_PROGRAM, "--users", File("users")};
  Line.insert(Line.end(), Arguments.begin(), Arguments.end());
  auto const Process = Start(Line);
  if (!Input.empty()) {
    Process->Say(Input);
  }
  return Process->End();
}

void TConsoleFixture::AddUser(std::string const& Name, std::string const& Role) const {
  ASSERT_EQ(Command({"user", "add", Name, "--role", Role}, kPassword), 0);
}

TReply TConsoleFixture::Ask(std::string const& Method, std::string const& Path,
                            std::string const& Body,
                            std::vector<std::string> const& Headers) const {
  std::string Request = Method + " " + Path + " HTTP/1.1\r\nHost: localhost\r\n";
  for (std::string const& Header : Headers) {
    Request += Header + "\r\n";
  }
  if (!Body.empty()) {
    Request +=
        "Content-Type: application/json\r\nContent-Length: " + std::to_string(Body.size()) + "\r\n";
  }
  TReply Reply = Exchange(Request + "\r\n" + Body);
  ExpectDescribed(Method, Path.substr(0, Path.find('?')), Reply.m_Status);
  return Reply;
}

TReply TConsoleFixture::Exchange(std::string const& Bytes) const {
  TConnection const Connection(m_Port);
  Connection.Send(Bytes);
  std::string const Heard = Connection.HearAll();
  TReply Reply;
  std::size_t const HeadEnd = Heard.find("\r\n\r\n");
  if (Heard.compare(0, 9, "HTTP/1.1 ") != 0 || HeadEnd == std::string::npos) {
    EXPECT_EQ(Heard, "");
    return Reply;
  }
  Reply.m_Status = std::stoi(Heard.substr(9));
  Reply.m_Body = Heard.substr(HeadEnd + 4);
  for (std::size_t Begin = Heard.find("\r\n") + 2; Begin < HeadEnd;) {
    std::size_t const End = Heard.find("\r\n", Begin);
    std::size_t const Colon = Heard.find(": ", Begin);
    Reply.m_Headers.emplace(Heard.substr(Begin, Colon - Begin),
                            Heard.substr(Colon + 2, End - Colon - 2));
    Begin = End + 2;
  }
  return Reply;
}

TReply TConsoleFixture::AskAs(std::vector<std::string> const& Page, std::string const& Method,
                              std::string const& Path, std::string const& Body) const {
  return Ask(Method, Path, Body, Page);
}

TReply TConsoleFixture::TrySignIn(std::string const& User, std::string const& Password) const {
  return Ask("POST", kSession, nlohmann::json{{"user", User}, {"password", Password}}.dump());
}

std::vector<std::string> TConsoleFixture::SignIn(std::string const& User) const {
  TReply const Reply = TrySignIn(User, kPassword);
  EXPECT_EQ(Reply.m_Status, 200) << Reply.m_Body;
  std::string const Cookie = Reply.Header("Set-Cookie");
  auto const Object = nlohmann::json::parse(Reply.m_Body);
  return {"Cookie: " + Cookie.substr(0, Cookie.find(';')),
          "X-CSRF-Token: " + Object.value("csrf_token", "")};
}
