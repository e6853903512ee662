// SPDX-License-Identifier: MIT
// Draws the line a few times a second.
#include "PropertyTool/TCProgress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "PropertyTool/Terminals.h"

namespace Property {
namespace {

constexpr std::chrono::milliseconds kPause{100};
constexpr std::size_t kBar = 30;         // characters
constexpr std::size_t kColumns = 80;     // of a terminal that does not tell
constexpr std::size_t kLookEvery = 256;  // the clock costs more than most steps
constexpr char kClear[] = "\r\x1b[K";

std::size_t ColumnsOf(std::FILE* File) {
  winsize Size = {};
  bool const IsTold = ioctl(fileno(File), TIOCGWINSZ, &Size) == 0 && Size.ws_col > 0;
  return IsTold ? Size.ws_col : kColumns;
}

}  // namespace

TCProgress::TCProgress(std::FILE* File, bool Wanted, std::string Subject, std::size_t Total,
                       std::chrono::milliseconds Moment)
    : m_File(File),
      m_IsWanted(Wanted && isatty(fileno(File)) == 1 && WantsControlSequences()),
      m_Subject(std::move(Subject)),
      m_Total(Total),
      m_Next(TCClock::now() + Moment) {}

TCProgress::~TCProgress() {
  if (m_IsShown) {
    std::fputs(kClear, m_File);
    std::fflush(m_File);
  }
}

void TCProgress::Reach(std::size_t Count) {
  m_Count = Count;
  if (m_IsWanted && m_Steps++ % kLookEvery == 0 && TCClock::now() >= m_Next) {
    Show();
  }
}

void TCProgress::Show() {
  m_IsShown = true;
  m_Next = TCClock::now() + kPause;
  std::fputs((kClear + Line()).c_str(), m_File);
  std::fflush(m_File);
}

// A line that were wider than the terminal could not be written over.
std::string TCProgress::Line() const {
  std::size_t const Most = ColumnsOf(m_File) - 1;
  std::string Text = std::to_string(m_Count) + " " + m_Subject;
  if (m_Total > 0) {
    double const Share = std::min(1.0, static_cast<double>(m_Count) / static_cast<double>(m_Total));
    auto const Full = static_cast<std::size_t>(Share * kBar);
    std::string const Bar = "[" + std::string(Full, '#') + std::string(kBar - Full, ' ') + "] ";
    Text = std::to_string(static_cast<int>(Share * 100)) + " % " + m_Subject;
    Text = Bar.size() + Text.size() <= Most ? Bar + Text : Text;
  }
  return Text.substr(0, Most);
}

}  // namespace Property
