// SPDX-License-Identifier: MIT
// The texts of an exception, shared by its copies.
#include "Platform/Utility/TCException.h"

#include <cstdarg>
#include <utility>

#include "Platform/Utility/FormatText.h"

struct TCException::TCContent {
  std::string m_Source;
  int m_Line;
  std::string m_Condition;
  std::string m_Message;
};

TCException::TCException(std::string const& Source, int Line)
    : TCException(Source, Line, std::string()) {}

TCException::TCException(std::string const& Source, int Line, std::string const& Condition)
    : m_Content(std::make_shared<TCContent const>(TCContent{Source, Line, Condition, {}})) {}

TCException::~TCException() = default;

TCException& TCException::Format(char const* Text, ...) {
  std::va_list Arguments;
  va_start(Arguments, Text);
  std::string Message = FormatText(Text, Arguments);
  va_end(Arguments);
  m_Content = std::make_shared<TCContent const>(TCContent{
      m_Content->m_Source, m_Content->m_Line, m_Content->m_Condition, std::move(Message)});
  return *this;
}

std::string const& TCException::get_Source() const noexcept {
  return m_Content->m_Source;
}

int TCException::get_Line() const noexcept {
  return m_Content->m_Line;
}

std::string const& TCException::get_Condition() const noexcept {
  return m_Content->m_Condition;
}

std::string const& TCException::get_Message() const noexcept {
  return m_Content->m_Message;
}

char const* TCException::what() const noexcept {
  std::string const& Message = get_Message();
  return Message.empty() ? get_Condition().c_str() : Message.c_str();
}
