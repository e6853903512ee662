// SPDX-License-Identifier: MIT
// The one exception type: a broken rule of use, with the place and the condition that found it.
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "Platform/PlatformExport.h"

/// Names the source, the line, the violated condition and a message for the reader.
/// Owns its texts; copies share them, so copying, and with it throwing, never fails.
/// Not synchronised; copies may be used on different threads.
class PROPERTY_PLATFORM_EXPORT TCException : public std::exception {
 public:
  /// `Source` is the throwing file without its extension, relative to the build folder.
  TCException(std::string const& Source, int Line);
  TCException(std::string const& Source, int Line, std::string const& Condition);
  TCException(TCException const&) noexcept = default;
  TCException& operator=(TCException const&) noexcept = default;
  ~TCException() override;

  /// Replaces the message by the printf-style text; earlier copies keep theirs.
  /// Returns this object, so that it can be formatted and thrown in one expression.
  TCException& Format(char const* Text, ...) __attribute__((format(printf, 2, 3)));

  std::string const& get_Source() const noexcept;
  int get_Line() const noexcept;
  /// Empty when no condition was given.
  std::string const& get_Condition() const noexcept;
  /// Empty until Format.
  std::string const& get_Message() const noexcept;
  /// The message, or the condition when there is no message.
  char const* what() const noexcept override;

 private:
  struct TCContent;
  std::shared_ptr<TCContent const> m_Content;
};
