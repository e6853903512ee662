// SPDX-License-Identifier: MIT
// One value with its C++ type: what a program holds instead of definition, link and device.
#pragma once

#include <string>
#include <type_traits>
#include <utility>

#include "CommonProperties/TCPropertyChoice.h"
#include "CommonProperties/TCPropertyChoiceID.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyEvents.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyTransaction.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TextConversions.h"

namespace Property {

/// The choices that the values of an enumeration stand for. Specialise it for an enumeration of
/// one's own, with all choices of the field, each with its number:
///
///     template <>
///     struct Property::TSChoicesOf<TEMode> {
///       static constexpr std::pair<TEMode, int> kNumbers[] = {{TEMode::eDay, 1031}, ...};
///     };
template <class TEnumeration>
struct TSChoicesOf;

template <class T, class = void>
inline constexpr bool kHasChoices = false;
template <class T>
inline constexpr bool kHasChoices<T, std::void_t<decltype(TSChoicesOf<T>::kNumbers)>> = true;

/// Whether there are handles of a type. `long long` is none: values have numbers of 32 bits.
template <class T>
inline constexpr bool kIsTyped = std::is_same_v<T, bool> || std::is_same_v<T, int> ||
                                 std::is_same_v<T, std::string> || kHasChoices<T>;

/// A handle of one value: get and set are those of the store, with the same effects and exceptions,
/// and no more. Takes part in transactions and guards like the functions that it calls.
///
/// `bool` is for boolean fields, `int` for integer fields, `std::string` for string and lookup
/// fields, an enumeration with TSChoicesOf for choice fields. An argument of another type does not
/// compile.
///
/// Refers to the definition, which lives as long as the process. A static handle is made below the
/// definition and its choices, in the same source file. Not synchronised itself; copies are cheap.
template <class T>
class Typed {
  static_assert(kIsTyped<T>,
                "a handle's type is bool, int, std::string or an enumeration with TSChoicesOf");

 public:
  /// Of a record, and of a device as text; an empty one stands for the current device at each use.
  /// Throws TCException when the field is of another type, or when its choices and those of the
  /// enumeration are not the same.
  explicit Typed(TCPropertyID const& ID,
                 Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
                 std::string MAC = std::string())
      : m_ID(&ID), m_Link(Link), m_MAC(std::move(MAC)) {
    if (!Fits(ID.get_Type())) {
      throw TCException(kSource, __LINE__, "Fits(ID.get_Type())")
          .Format("Property %s is not %s", ID.Viewname(false).c_str(), kField);
    }
    if constexpr (kHasChoices<T>) {
      CheckChoices();
    }
  }

  /// The same property's value of another record, or of another device.
  Typed OfRecord(Accessories::TCRecordID const& Link) const { return Typed(*this, Link, m_MAC); }
  Typed OfDevice(std::string const& MAC) const { return Typed(*this, m_Link, MAC); }

  TCPropertyID const& get_ID() const { return *m_ID; }
  Accessories::TCRecordID const& get_Link() const { return m_Link; }
  std::string const& get_MAC() const { return m_MAC; }

  /// As GetProperty. Throws TCException as well for a choice that the field got after the handle.
  T Get() const { return Read(GetProperty(*m_ID, m_Link, m_MAC)); }

  /// As SetProperty, without an answer. An enumeration's value that is none of TSChoicesOf throws
  /// TCException, with nothing set.
  template <class U, std::enable_if_t<std::is_same_v<U, T>, int> = 0>
  void Set(U const& Value) const {
    if constexpr (kHasChoices<T>) {
      SetChoice(NumberOf(Value));
    } else if constexpr (std::is_same_v<T, bool>) {
      SetProperty(*m_ID, Value ? 1 : 0, m_Link, m_MAC);
    } else {
      SetProperty(*m_ID, Value, m_Link, m_MAC);
    }
  }
  /// A text. Throws std::logic_error for a null pointer.
  template <class U,
            std::enable_if_t<std::is_same_v<U, char> && std::is_same_v<T, std::string>, int> = 0>
  void Set(U const* Text) const {
    SetProperty(*m_ID, std::string(Text), m_Link, m_MAC);
  }

  /// The schema's default: what a value of this device is that nobody has set.
  T GetDefault() const { return Read(TCCommonPropertyObject(*m_ID, m_Link, m_MAC)); }
  bool IsDefault() const { return Get() == GetDefault(); }
  /// Sets the value to the default. It is stored then, and keeps its text in a later schema.
  void SetToDefault() const { Set(GetDefault()); }

  /// Calls `Function` with the value when it has changed, and with the default when it was removed;
  /// see TCPropertyEvents::On. Validators have not run on it.
  template <class TFunction>
  [[nodiscard]] TCPropertyEvents::TCSubscription OnChange(TCPropertyEvents& Events,
                                                          TFunction Function) const {
    static_assert(std::is_invocable_v<TFunction&, T>, "the function takes the handle's type");
    return Events.On(*m_ID, m_Link, m_MAC,
                     [Handle = *this, Function = std::move(Function)](
                         TCCommonPropertyObject const& Value, TENotificationType Type) mutable {
                       Function(Type == eNotifyDeleted ? Handle.GetDefault() : Read(Value));
                     });
  }

 private:
  static constexpr char kSource[] = "../CommonProperties/Typed";

  // Of a definition that was checked.
  Typed(Typed const& Other, Accessories::TCRecordID const& Link, std::string MAC)
      : m_ID(Other.m_ID), m_Link(Link), m_MAC(std::move(MAC)) {}

  static constexpr bool Fits(TEPropertyType Type) {
    if constexpr (kHasChoices<T>) {
      return Type == eComboField;
    } else if constexpr (std::is_same_v<T, bool>) {
      return Type == eBooleanField;
    } else if constexpr (std::is_same_v<T, int>) {
      return Type == eIntegerField;
    } else {
      return Type == eStringField || Type == eDBLookupField;
    }
  }
  static constexpr char const* kField = kHasChoices<T>            ? "a choice field"
                                        : std::is_same_v<T, bool> ? "a boolean field"
                                        : std::is_same_v<T, int>  ? "an integer field"
                                                                  : "a string or lookup field";

  static T Read(TCCommonPropertyObject const& Value) {
    if constexpr (kHasChoices<T>) {
      return ValueOf(Value.get_ID(), Value.get_ChoiceID());
    } else if constexpr (std::is_same_v<T, bool>) {
      return Value.get_AsBool();
    } else if constexpr (std::is_same_v<T, int>) {
      return Value.get_AsInteger();
    } else {
      return Value.get_AsString();
    }
  }

  // The enumeration's value for a choice's number.
  static T ValueOf(TCPropertyID const& ID, int Number) {
    for (auto const& [Value, Choice] : TSChoicesOf<T>::kNumbers) {
      if (Choice == Number) {
        return Value;
      }
    }
    throw TCException(kSource, __LINE__)
        .Format("The enumeration has no value for choice %d of property %s", Number,
                ID.Viewname(false).c_str());
  }

  int NumberOf(T Wanted) const {
    for (auto const& [Value, Choice] : TSChoicesOf<T>::kNumbers) {
      if (Value == Wanted) {
        return Choice;
      }
    }
    throw TCException(kSource, __LINE__)
        .Format("Value %lld of the enumeration has no choice of property %s",
                static_cast<long long>(Wanted), m_ID->Viewname(false).c_str());
  }

  void CheckChoices() const {
    for (auto const& [Value, Choice] : TSChoicesOf<T>::kNumbers) {
      if (!m_ID->HaveChoice(Choice)) {
        throw TCException(kSource, __LINE__)
            .Format("Property %s has no choice %d, which value %lld of the enumeration stands for",
                    m_ID->Viewname(false).c_str(), Choice, static_cast<long long>(Value));
      }
    }
    for (TCPropertyChoice const* const Choice : m_ID->get_Choices()) {
      static_cast<void>(ValueOf(*m_ID, Choice->get_Number()));
    }
  }

  // A choice goes into the store by its reference, which only the current device's can. Without one
  // it goes by its value text, and into a transaction by its number, because that is what each of
  // the two reads.
  void SetChoice(int Number) const {
    TCPropertyChoiceID const* const Reference =
        m_MAC.empty() ? TCPropertyChoiceID::Find(Number) : nullptr;
    if (Reference != nullptr) {
      SetProperty(*m_ID, *Reference, m_Link, m_MAC);
      return;
    }
    if (TCPropertyTransaction* const Transaction = TCPropertyCollection::InTransaction()) {
      std::string const MAC = m_MAC.empty() ? TCPropertyCollection::GetCurrentMAC(*m_ID) : m_MAC;
      Transaction->Changed(*m_ID, m_Link, ToString(Number), MAC);
      return;
    }
    bool Missing = false;
    std::string const& Text = m_ID->FindChoiceByID(Number, Missing)->get_Value();
    if (m_ID->FindChoiceByValue(Text, Missing)->get_Number() != Number) {
      throw TCException(kSource, __LINE__)
          .Format("Choice %d of property %s can not be set: another choice has its value text [%s]",
                  Number, m_ID->Viewname(false).c_str(), Text.c_str());
    }
    SetProperty(*m_ID, Text, m_Link, m_MAC);
  }

  TCPropertyID const* m_ID;
  Accessories::TCRecordID m_Link;
  std::string m_MAC;
};

}  // namespace Property
