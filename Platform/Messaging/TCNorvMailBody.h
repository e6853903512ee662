// SPDX-License-Identifier: MIT
// The encoded records of one mail, in the form that is kept, copied and put into memory files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/PlatformExport.h"

/// One decoded field. `Code` is its wire type: 'i', 's' or 'b'.
struct TSNorvFieldValue {
  bool Assigned = false;
  char Code = 's';
  int Integer = 0;        ///< for 'i' and 'b'
  std::string_view Text;  ///< for 's'; points into the body
};

/// Reads the fields of one encoded record in order.
/// Throws TCException when the bytes end early or hold what no record can hold.
class PROPERTY_PLATFORM_EXPORT TCNorvRecordCursor {
 public:
  TCNorvRecordCursor(std::string_view Signature, std::string_view Bytes);

  /// False after the last field.
  bool Next(TSNorvFieldValue& Value);
  /// What the record's fields have not used.
  std::string_view get_Rest() const { return m_Bytes; }
  std::uint32_t get_AssignedMask() const { return m_Assigned; }

 private:
  std::string_view Take(std::size_t Length);
  std::uint32_t TakeWord();

  std::string_view m_Signature;
  std::string_view m_Bytes;
  std::uint32_t m_Assigned;
  std::size_t m_Field = 0;
};

/// The records of one mail, encoded field by field, little endian:
/// a record is a 32-bit mask of its assigned fields (bit 0 is the first) and then each field by its
/// code in the signature: 'i' 32 bits, 'b' one byte 0 or 1, 's' a 32-bit length and the bytes,
/// 'v' one byte with the code of what follows and then that. Unassigned fields hold 0 or nothing.
/// Immutable and validated as a whole when made, so that it is shared between messages and threads.
class PROPERTY_PLATFORM_EXPORT TCNorvMailBody {
 public:
  static constexpr std::size_t kMaximumFields = 32;
  static constexpr std::size_t kMaximumSize = std::size_t{1} << 30;
  static constexpr std::size_t kAnyCount = std::numeric_limits<std::size_t>::max();

  /// Where the records begin. The first one is not noted: most mails have no other.
  struct TSPlaces {
    std::size_t Count = 0;
    std::vector<std::size_t> Further;

    void Add(std::size_t Begin) {
      if (Count > 0) {
        Further.push_back(Begin);
      }
      ++Count;
    }
  };

  /// Appends records of one signature.
  class PROPERTY_PLATFORM_EXPORT TCWriter {
   public:
    /// Throws TCException when `Signature` has other codes than i, s, b, v or too many fields.
    explicit TCWriter(std::string_view Signature);

    void BeginRecord(std::uint32_t Assigned);
    /// Appends the record's next field; the value's code must fit the signature's ('v' takes any).
    void AppendField(TSNorvFieldValue const& Value);
    void AppendRecord(std::string_view Record);
    std::shared_ptr<TCNorvMailBody const> Finish();

   private:
    void AppendWord(std::uint32_t Word);

    std::string m_Signature;
    std::string m_Bytes;
    TSPlaces m_Places;
    std::size_t m_Field = 0;
  };

  /// A body without records.
  static std::shared_ptr<TCNorvMailBody const> Empty();

  /// The records of `Body` at whose places `Taken` says so.
  static std::shared_ptr<TCNorvMailBody const> Selected(TCNorvMailBody const& Body,
                                                        std::vector<bool> const& Taken);

  /// A copy of `Bytes`, which are records of `Signature`. Throws TCException when they are not, or
  /// are more than `Count`.
  static std::shared_ptr<TCNorvMailBody const> FromBytes(std::string_view Signature,
                                                         std::string_view Bytes,
                                                         std::size_t Count = kAnyCount);

  /// Maps the sealed memory file `File` (not taken over), all of which are records of `Signature`,
  /// and validates them.
  /// Throws TCException when the file is not sealed against every change, is larger than `Limit`
  /// bytes, has more than `Most` records, or is malformed.
  static std::shared_ptr<TCNorvMailBody const> FromMemoryFile(int File, std::string_view Signature,
                                                              std::size_t Limit = kMaximumSize,
                                                              std::size_t Most = kAnyCount);

  /// The same records, in a sealed memory file from the beginning: for what is sent many times.
  /// Throws as MakeMemoryFile does.
  static std::shared_ptr<TCNorvMailBody const> InMemoryFile(TCNorvMailBody const& Body);

  /// Throws TCException when a mail of `Count` records has more than the `Most` that are allowed.
  static void RequireCount(std::size_t Count, std::size_t Most);

  /// Makes a sealed memory file of the body, or another descriptor of the one that it is in; the
  /// caller closes it. Throws TCException when the system has no file or memory left.
  int MakeMemoryFile() const;

  TCNorvMailBody(TCNorvMailBody const&) = delete;
  TCNorvMailBody& operator=(TCNorvMailBody const&) = delete;
  ~TCNorvMailBody();

  std::string const& get_Signature() const { return m_Signature; }
  int get_Count() const { return static_cast<int>(m_Places.Count); }
  std::string_view get_Record(int Index) const;
  std::string_view get_Bytes() const { return m_Bytes; }
  std::size_t get_Size() const { return m_Bytes.size(); }
  /// Bytes that the body takes of the memory, what belongs to it included.
  std::size_t get_MemorySize() const;

 private:
  class TCMapping;
  struct TSMade {};  // only this class makes bodies

 public:
  TCNorvMailBody(TSMade Made, std::string_view Signature, std::string Bytes, TSPlaces Places);
  TCNorvMailBody(TSMade Made, std::string_view Signature, std::unique_ptr<TCMapping> Mapping,
                 TSPlaces Places);

 private:
  static TSPlaces FindRecords(std::string_view Signature, std::string_view Bytes, std::size_t Most);
  void WriteMemoryFile(int File) const;

  std::string const m_Signature;
  std::string const m_Owned;
  std::unique_ptr<TCMapping> const m_Mapping;
  std::string_view const m_Bytes;  // into m_Owned or m_Mapping
  TSPlaces const m_Places;
};
