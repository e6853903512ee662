// SPDX-License-Identifier: MIT
// A value that may be absent, ordered with absence first.
#pragma once

#include <string>
#include <type_traits>
#include <utility>

#include "Platform/PlatformExport.h"

namespace Accessories {

/// A value or nothing, for `int`, `bool`, `long long` and `std::string`.
/// Owns its value. A null object holds the value-initialised T, never an earlier value.
/// Not synchronised.
template <class T>
class PROPERTY_PLATFORM_EXPORT TCNullTypes {
  template <class P>
  static constexpr bool kIsText =
      std::conjunction_v<std::is_same<T, std::string>, std::is_same<std::remove_const_t<P>, char>>;
  template <class U>
  static constexpr bool kIsValue =
      std::is_convertible_v<U, T> && !std::is_base_of_v<TCNullTypes, std::decay_t<U>> &&
      !(std::is_same_v<T, bool> && std::is_pointer_v<U>);

 public:
  TCNullTypes() = default;
  TCNullTypes(T Value) : m_Null(false), m_Value(std::move(Value)) {}
  /// From a C string, for texts only: a literal would need one conversion too many.
  /// Throws std::logic_error for a null pointer.
  template <class P, std::enable_if_t<kIsText<P>, int> = 0>
  TCNullTypes(P* Text) : m_Null(false), m_Value(Text) {}
  /// A pointer is no truth value: "false" would be true.
  template <class P, class B = T, std::enable_if_t<std::is_same_v<B, bool>, int> = 0>
  TCNullTypes(P*) = delete;
  TCNullTypes(TCNullTypes const&) = default;
  TCNullTypes(TCNullTypes&&) noexcept = default;
  /// When memory runs out, the object is unchanged.
  TCNullTypes& operator=(TCNullTypes const& Other) {
    m_Value = Other.m_Value;
    m_Null = Other.m_Null;
    return *this;
  }
  TCNullTypes& operator=(TCNullTypes&&) noexcept = default;
  virtual ~TCNullTypes() = default;

  /// Whatever converts to T; a template, so that `= {}` makes the object null. A text's null
  /// pointer throws std::logic_error, and then, or when memory runs out, the object is unchanged.
  template <class U, std::enable_if_t<std::is_scalar_v<U> && kIsValue<U>, int> = 0>
  TCNullTypes& operator=(U Value) {
    Store(static_cast<T>(Value));
    return *this;
  }
  template <class U, std::enable_if_t<!std::is_scalar_v<std::decay_t<U>> && kIsValue<U>, int> = 0>
  TCNullTypes& operator=(U&& Value) {
    T Converted = std::forward<U>(Value);
    Store(std::move(Converted));
    return *this;
  }
  template <class P, class B = T, std::enable_if_t<std::is_same_v<B, bool>, int> = 0>
  TCNullTypes& operator=(P*) = delete;

  void SetNull() {
    m_Null = true;
    m_Value = T();
  }

  bool IsNull() const { return m_Null; }
  /// The value-initialised T when null.
  T const& get_Value() const { return m_Value; }

  /// Null before every value, all nulls equivalent.
  bool operator<(TCNullTypes const& Other) const {
    return !Other.m_Null && (m_Null || m_Value < Other.m_Value);
  }
  friend bool operator==(TCNullTypes const& Left, TCNullTypes const& Right) {
    return Left.m_Null == Right.m_Null && Left.m_Value == Right.m_Value;
  }
  friend bool operator!=(TCNullTypes const& Left, TCNullTypes const& Right) {
    return !(Left == Right);
  }

 private:
  void Store(T&& Value) {
    m_Value = std::move(Value);
    m_Null = false;
  }

  bool m_Null = true;
  T m_Value = T();
};

}  // namespace Accessories
