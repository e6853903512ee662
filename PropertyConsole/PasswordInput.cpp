// SPDX-License-Identifier: MIT
// Reads a password without showing it.
#include "PropertyConsole/PasswordInput.h"

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <optional>

#include "Platform/Utility/TCException.h"
#include "PropertyConsole/Passwords.h"

namespace Property {
namespace {

constexpr char kSource[] = "../PropertyConsole/PasswordInput";

// While it lives, the terminal does not show what is typed. Keys that end the program would leave
// it so, and count as typed meanwhile.
class TCSilence {
 public:
  TCSilence() : m_IsTerminal(tcgetattr(STDIN_FILENO, &m_Former) == 0) {
    termios Silent = m_Former;
    Silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
    if (m_IsTerminal) {
      tcsetattr(STDIN_FILENO, TCSAFLUSH, &Silent);
    }
  }
  TCSilence(TCSilence const&) = delete;
  TCSilence& operator=(TCSilence const&) = delete;
  ~TCSilence() {
    if (m_IsTerminal) {
      tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_Former);
    }
  }

 private:
  termios m_Former{};
  bool const m_IsTerminal;
};

// Without the line feed; one byte more than a password may have at most. Byte by byte, so that what
// comes behind the line stays for others.
std::optional<std::string> ReadLine() {
  std::string Line;
  char Byte = 0;
  ssize_t Got = 0;
  while ((Got = read(STDIN_FILENO, &Byte, 1)) == 1 && Byte != '\n') {
    if (Line.size() <= kLongestPassword) {
      Line += Byte;
    }
  }
  return Got == 1 || !Line.empty() ? std::optional(Line) : std::nullopt;
}

std::optional<std::string> AskOnce(char const* Question) {
  std::fputs(Question, stderr);
  TCSilence const Silence;
  auto Line = ReadLine();
  std::fputs("\n", stderr);
  return Line;
}

}  // namespace

std::string AskForPassword() {
  bool const IsTerminal = isatty(STDIN_FILENO) == 1;
  auto const Password = IsTerminal ? AskOnce("Password: ") : ReadLine();
  if (!Password) {
    throw TCException(kSource, __LINE__).Format("there is no password on the standard input");
  }
  std::string const Wrong = CheckPassword(*Password);
  if (!Wrong.empty()) {
    throw TCException(kSource, __LINE__).Format("%s", Wrong.c_str());
  }
  if (IsTerminal && AskOnce("Once more: ") != Password) {
    throw TCException(kSource, __LINE__).Format("the two passwords differ");
  }
  return *Password;
}

}  // namespace Property
