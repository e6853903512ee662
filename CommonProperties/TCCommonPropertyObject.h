// SPDX-License-Identifier: MIT
// One property value, held as text and converted by its definition's type.
#pragma once

#include <boost/any.hpp>
#include <iosfwd>
#include <memory>
#include <string>
#include <type_traits>

#include "CommonProperties/PropertyExport.h"
#include "Platform/Utility/TCMACAddress.h"
#include "Platform/Utility/TCNullTypes.h"
#include "Platform/Utility/TCRecordID.h"

namespace Property {

class TCPropertyChoice;
class TCPropertyChoiceID;
class TCPropertyID;
class TCStoredText;

/// One property value: its definition, record link, device and text.
///
/// A choice field stores the decimal number of the chosen choice and reads as that choice's value
/// text; a boolean field stores "1" or "0"; every other field stores its text unchanged. Bad data
/// is no error: an unknown choice falls back to the field's default choice with a warning in the
/// system log, an unparsable number to the default argument.
///
/// The store owns the stored ones, callers hold copies; the definition is referred to, not owned.
/// Not synchronised: the store's lock guards stored values, a copy belongs to one thread at a time
/// (the conversion to `char const*` writes to the object, const or not).
///
/// `Text = Value`, `Text += Value` with a std::string, and a value handed to an overload set that
/// takes both numbers and texts, are ambiguous: write `Value.get_AsString()`. So is what a value is
/// to be in `switch (Value)` and in arithmetic: write `Value.get_AsInteger()`.
class PROPERTY_EXPORT TCCommonPropertyObject {
 private:
  template <class T>
  using TIfScalar = std::enable_if_t<
      std::is_same_v<T, bool> || std::is_same_v<T, int> || std::is_same_v<T, long long>, int>;
  /// The numbers that neither are nor become a bool or an int by themselves.
  template <class T>
  using TIfOtherNumber =
      std::enable_if_t<std::is_same_v<T, unsigned> || std::is_same_v<T, long> ||
                           std::is_same_v<T, unsigned long> || std::is_same_v<T, long long> ||
                           std::is_same_v<T, unsigned long long> || std::is_same_v<T, float> ||
                           std::is_same_v<T, double>,
                       int>;
  template <class T>
  using TIfMACAddress = std::enable_if_t<std::is_same_v<T, TCMACAddress>, int>;

 public:
  /// A value of no property: Prop_Unassigned, undefined, empty.
  TCCommonPropertyObject();

  /// A defined, empty value that was not loaded. `MAC` is a text that TCMACAddress reads.
  TCCommonPropertyObject(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                         std::string const& MAC);

  /// The same for a device at hand, without a way over its text. A template, so that `{}` in this
  /// place still means the empty text.
  template <class T, TIfMACAddress<T> = 0>
  TCCommonPropertyObject(TCPropertyID const& ID, Accessories::TCRecordID const& Link, T const& MAC)
      : m_Defined(true), m_ID(&ID), m_MAC(MAC), m_Link(Link), m_Loaded(false) {}

  TCCommonPropertyObject(TCCommonPropertyObject const&) = default;
  TCCommonPropertyObject(TCCommonPropertyObject&&) = default;
  /// When memory runs out, the value is unchanged.
  // Each member can be assigned to itself. NOLINTNEXTLINE(bugprone-unhandled-self-assignment)
  TCCommonPropertyObject& operator=(TCCommonPropertyObject const& Right) {
    m_Data = Right.m_Data;  // the one that can fail
    m_Defined = Right.m_Defined;
    m_ID = Right.m_ID;
    m_MAC = Right.m_MAC;
    m_Link = Right.m_Link;
    m_Loaded = Right.m_Loaded;
    return *this;
  }
  TCCommonPropertyObject& operator=(TCCommonPropertyObject&&) = default;
  virtual ~TCCommonPropertyObject() = default;

  // ---- writing ----

  /// Takes `Text` in by the field's type and leaves the loaded mark alone. A choice field takes the
  /// choice whose value text is `Text`, or with two lines of log its default choice; a boolean
  /// field stores "1" when `Text` is a number other than 0, else "0".
  void set_Data(std::string const& Text);

  TCCommonPropertyObject& operator=(std::string const& Text);
  /// Throws std::logic_error when `Text` is null; the value is unchanged.
  TCCommonPropertyObject& operator=(char const* Text);
  TCCommonPropertyObject& operator=(int Value);
  /// Stores the number as unsigned: -1 becomes "18446744073709551615".
  TCCommonPropertyObject& operator=(long long Value);
  TCCommonPropertyObject& operator=(bool Value);
  /// Selects the referenced choice and counts as loaded. Throws TCException when this is no choice
  /// field or the choice is none of the field's; the value is unchanged.
  TCCommonPropertyObject& operator=(TCPropertyChoiceID const& right);

  /// Takes stored text in as it is, except that a choice field whose choices do not include the
  /// number falls back to its default choice, with a warning unless `Text` is empty. Marks the
  /// value as loaded and returns whether `Text` differed from the stored text.
  /// Throws TCException on that fall-back when m_CheckData is set: the default choice is then
  /// stored and the loaded mark left alone.
  bool SetRealValue(std::string const& Text);

  /// Sets or clears one bit of a bit string. Throws TCException on a choice field, unchanged.
  void SetStringBit(int Bit, bool Value);

  /// Stores the field's default choice and leaves the loaded mark alone. Throws TCException when
  /// this is no choice field; the value is unchanged.
  void SetDefaultChoice();

  /// Stores the default choice of a choice field; empties every other value and marks it loaded.
  void Clear();

  /// Runs `Function` on a copy. When that changed the copy's text, takes the text over, writes it
  /// to the store under this value's key and notifies there. Returns a copy of the result.
  /// Throws TCException when `Function` is null, and passes on what `Function` throws, both with
  /// the value unchanged; passes on what the store throws (no such entry), with the value changed.
  TCCommonPropertyObject Validate(void (*Function)(TCCommonPropertyObject&));

  // ---- reading ----

  TCPropertyID const& get_ID() const { return *m_ID; }
  Accessories::TCRecordID const& get_Link() const { return m_Link; }
  TCMACAddress const& get_MAC() const { return m_MAC; }
  /// False for a value that was never built for a property or that could not be fetched.
  bool get_Defined() const { return m_Defined; }
  /// True once SetRealValue has taken a text in.
  bool get_Loaded() const { return m_Loaded; }
  /// Whether the stored text is empty; a choice field that stores "0" is not.
  bool IsEmpty() const { return m_Data.empty(); }
  /// The stored text, untranslated.
  std::string const& GetRealValue() const { return m_Data; }

  /// The value text of a choice field's choice (its default choice when the stored number is
  /// unknown), the stored text of every other field.
  std::string get_Data() const;

  /// "1" or "0" for a field that is no choice field: of the stored text, else of `Default`, else of
  /// the schema default, where only "0" is false and no default is true. A choice field looks
  /// `Default` up as a value text when it is given, and its own number otherwise.
  std::string get_Data(Accessories::TCNullTypes<bool> const& Default) const;

  /// The text with a default. A field that is no choice field answers its stored text, else
  /// `Default`, else the schema default, else the empty text. A choice field whose number is
  /// unknown answers the choice that has `Default` as value text, else its default choice; a
  /// `Default` that is no value text is warned about.
  std::string get_Data(Accessories::TCNullTypes<int> const& Default) const;
  std::string get_Data(Accessories::TCNullTypes<long long> const& Default) const;
  std::string get_Data(Accessories::TCNullTypes<std::string> const& Default) const;

  /// The same, but the schema default is not consulted. Null stands for no default.
  std::string get_Data(char const* Default) const;

  /// Lets a plain bool, int or long long choose its own one of the forms above.
  template <class T, TIfScalar<T> = 0>
  std::string get_Data(T Default) const {
    return get_Data(Accessories::TCNullTypes<T>(Default));
  }

  bool get_AsBool(
      Accessories::TCNullTypes<bool> const& Default = Accessories::TCNullTypes<bool>()) const;
  /// `Default`, or 0, when the text is no number of 32 bits.
  int get_AsInteger(
      Accessories::TCNullTypes<int> const& Default = Accessories::TCNullTypes<int>()) const;
  /// The low 32 bits of the number, sign-extended; `Default` in full, or 0, when the text is none.
  long long get_AsBigInt(Accessories::TCNullTypes<long long> const& Default =
                             Accessories::TCNullTypes<long long>()) const;
  std::string get_AsString(Accessories::TCNullTypes<std::string> const& Default =
                               Accessories::TCNullTypes<std::string>()) const;
  std::string get_AsString(char const* Default) const;

  /// An int for choice, integer and boolean fields, a std::string for string and lookup fields,
  /// empty for any other type.
  boost::any get_AsBoostAny() const;

  /// Number, value as a number, and description of the stored choice, or of the field's default
  /// choice when the stored number is unknown: `Default` is not used. Each throws TCException when
  /// this is no choice field.
  int get_ChoiceID(
      Accessories::TCNullTypes<int> const& Default = Accessories::TCNullTypes<int>()) const;
  int get_ChoiceValue(
      Accessories::TCNullTypes<int> const& Default = Accessories::TCNullTypes<int>()) const;
  std::string get_ChoiceName(
      Accessories::TCNullTypes<int> const& Default = Accessories::TCNullTypes<int>()) const;

  /// One bit of a bit string. Throws TCException on a choice field.
  bool GetStringBit(int Bit) const;

  operator bool() const;
  operator int() const;
  operator long long() const;
  /// The text read as a decimal number with or without fraction and exponent, by the rules of
  /// get_AsString(); 0 when it is none.
  operator double() const;
  operator std::string() const;
  /// The text of get_Data(), kept by this object: the pointer is good until the next conversion to
  /// `char const*` of the same object, or until the object is destroyed. Later writes do not change
  /// the text it points to, and copies do not share it.
  operator char const*() const;

  /// Values are equal when both or neither are defined and their stored texts are equal.
  /// Definition, link and MAC do not count.
  bool operator==(TCCommonPropertyObject const& Right) const { return !(*this != Right); }
  bool operator!=(TCCommonPropertyObject const& Right) const;

  // By converted value; a choice field compares its value text, not its number. A null text throws
  // std::logic_error.
  bool operator==(bool Right) const;
  bool operator!=(bool Right) const { return !(*this == Right); }
  bool operator==(int Right) const;
  bool operator!=(int Right) const { return !(*this == Right); }
  /// Whole numbers are compared as `long long` reads the value, without regard to their types: -1
  /// is no unsigned number. Others are compared as `double` reads it.
  template <class T, TIfOtherNumber<T> = 0>
  bool operator==(T Right) const {
    return IsNumber(Right);
  }
  template <class T, TIfOtherNumber<T> = 0>
  bool operator!=(T Right) const {
    return !IsNumber(Right);
  }
  bool operator==(std::string const& Right) const;
  bool operator!=(std::string const& Right) const { return !(*this == Right); }
  bool operator==(char const* Right) const;
  bool operator!=(char const* Right) const { return !(*this == Right); }

  /// Compare the stored text with the choice's number. Both throw TCException when this is no
  /// choice field or the choice is none of the field's.
  bool operator==(TCPropertyChoiceID const& ChoiceID) const;
  bool operator!=(TCPropertyChoiceID const& ChoiceID) const;

  friend bool operator==(bool Left, TCCommonPropertyObject const& Right) { return Right == Left; }
  friend bool operator!=(bool Left, TCCommonPropertyObject const& Right) { return Right != Left; }
  friend bool operator==(int Left, TCCommonPropertyObject const& Right) { return Right == Left; }
  friend bool operator!=(int Left, TCCommonPropertyObject const& Right) { return Right != Left; }
  template <class T, TIfOtherNumber<T> = 0>
  friend bool operator==(T Left, TCCommonPropertyObject const& Right) {
    return Right == Left;
  }
  template <class T, TIfOtherNumber<T> = 0>
  friend bool operator!=(T Left, TCCommonPropertyObject const& Right) {
    return Right != Left;
  }
  friend bool operator==(std::string const& Left, TCCommonPropertyObject const& Right) {
    return Right == Left;
  }
  friend bool operator!=(std::string const& Left, TCCommonPropertyObject const& Right) {
    return Right != Left;
  }
  friend bool operator==(char const* Left, TCCommonPropertyObject const& Right) {
    return Right == Left;
  }
  friend bool operator!=(char const* Left, TCCommonPropertyObject const& Right) {
    return Right != Left;
  }

  /// Writes the text that the conversion to std::string gives.
  friend PROPERTY_EXPORT std::ostream& operator<<(std::ostream& Stream,
                                                  TCCommonPropertyObject const& Value);

  /// Writes `Text` and the value to the debug channel of properties, while that is on.
  void Trace(std::string const& Text) const;

  /// Makes SetRealValue refuse an unknown choice. False at start and never set by the library; set
  /// it before other threads use values.
  static bool m_CheckData;

 private:
  // Completes a stored value's copy: definedness, loaded mark and MAC of what a read found.
  friend class TCPropertyReader;

  /// The text that outlives a conversion to `char const*`. It belongs to one object: copying or
  /// assigning that object neither shares nor disturbs it.
  class TCTextBuffer {
   public:
    TCTextBuffer() = default;
    TCTextBuffer(TCTextBuffer const&) noexcept {}
    TCTextBuffer& operator=(TCTextBuffer const&) noexcept { return *this; }

    char const* Keep(std::string&& Text);

   private:
    std::unique_ptr<std::string> m_Text;  // most values are never asked for one
  };

  /// What a read answers: the text and the loaded mark of `Stored` under the asker's names.
  TCCommonPropertyObject(TCPropertyID const& ID, Accessories::TCRecordID const& Link,
                         TCMACAddress const& MAC, TCCommonPropertyObject const& Stored)
      : m_Defined(true),
        m_Data(Stored.m_Data),
        m_ID(&ID),
        m_MAC(MAC),
        m_Link(Link),
        m_Loaded(Stored.m_Loaded) {}

  bool IsNumber(long Right) const { return IsNumber(static_cast<long long>(Right)); }
  bool IsNumber(long long Right) const;
  bool IsNumber(unsigned Right) const { return IsNumber(static_cast<unsigned long long>(Right)); }
  bool IsNumber(unsigned long Right) const {
    return IsNumber(static_cast<unsigned long long>(Right));
  }
  bool IsNumber(unsigned long long Right) const;
  bool IsNumber(double Right) const;

  bool IsChoiceField() const;
  void RequireChoiceField(int Line) const;
  /// The field's choice for one of the reads of a choice; null for a choice field without choices.
  TCPropertyChoice const* SelectedChoice(int Line) const;
  TCStoredText Stored() const;
  /// get_AsInteger where not just digits are stored.
  [[gnu::noinline]] int ReadInteger(Accessories::TCNullTypes<int> const& Default) const;

  void SelectByValue(std::string const& Text);
  void TakeDefaultChoice(std::string const& Text, TCPropertyChoice const* Choice);
  void TraceChange(std::string const& Text, char const* Suffix) const;

  bool m_Defined;
  std::string m_Data;
  TCPropertyID const* m_ID;  // never null
  TCMACAddress m_MAC;
  Accessories::TCRecordID m_Link;
  bool m_Loaded;
  mutable TCTextBuffer m_TextBuffer;
};

}  // namespace Property
