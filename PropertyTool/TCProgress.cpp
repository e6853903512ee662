// SPDX-License-Identifier: MIT
// Draws the line a few times a second.
#include "PropertyTool/TCProgress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

namespace Property {
namespace {

constexpr std::chrono::milliseconds kMoment{300};
constexpr std::chrono::milliseconds kPause{100};
constexpr std::size_t kWidth = 30;
constexpr std::size_t kLookEvery = 256;  // the clock costs more than most steps

}  // namespace

TCProgress::TCProgress(std::string Subject, std::size_t Total)
    : m_Subject(std::move(Subject)),
      m_Total(Total),
      m_IsTerminal(isatty(STDERR_FILENO) == 1),
      m_Next(TCClock::now() + kMoment) {}

TCProgress::~TCProgress() {
  if (m_IsShown) {
    std::fputs("\r\x1b[K", stderr);
  }
}

void TCProgress::Advance() {
  if (++m_Count % kLookEvery == 0 && m_IsTerminal && TCClock::now() >= m_Next) {
    Show();
  }
}

void TCProgress::Show() {
  m_IsShown = true;
  m_Next = TCClock::now() + kPause;
  std::string Bar;
  if (m_Total > 0) {
    std::size_t const Full = std::min(kWidth, kWidth * m_Count / m_Total);
    Bar = "[" + std::string(Full, '#') + std::string(kWidth - Full, ' ') + "] ";
  }
  std::fprintf(stderr, "\r%s%zu %s\x1b[K", Bar.c_str(), m_Count, m_Subject.c_str());
}

}  // namespace Property
