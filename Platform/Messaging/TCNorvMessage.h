// SPDX-License-Identifier: MIT
// A mail: its class, its signal and its records.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Platform/Messaging/TCNorvMailBody.h"
#include "Platform/Messaging/TCNorvMailClassID.h"
#include "Platform/Messaging/TCNorvMailObject.h"
#include "Platform/Messaging/TCNorvServiceName.h"
#include "Platform/PlatformExport.h"

class TCNorvMailInHand;
class TCNorvServiceProxy;

/// What a mail says, detached from any record class; this is what travels and is kept.
struct TSNorvMailContent {
  TCNorvMailClassID MailClass;
  int SignalType;
  int SignalName;
  std::shared_ptr<TCNorvMailBody const> Body;
};

/// A mail and its records. Owns the records. A received mail keeps its records encoded until they
/// are asked for; only a typed message (TCNorvMailMessage) can give them out.
/// Not synchronised: one thread at a time, also for reading.
class PROPERTY_PLATFORM_EXPORT TCNorvMessage {
 public:
  TCNorvMessage(TCNorvMailClassID const& MailClass, int SignalType, int SignalName);
  /// A received mail. `InHand` says what of it is overtaken, and outlives it.
  explicit TCNorvMessage(TSNorvMailContent const& Content, TCNorvMailInHand* InHand = nullptr);
  TCNorvMessage(TCNorvMessage const&) = delete;
  TCNorvMessage& operator=(TCNorvMessage const&) = delete;
  virtual ~TCNorvMessage();

  /// Takes over class, signal and records of `Other`. Throws TCException, this mail unchanged, when
  /// the records do not have the layout that this message's record class binds to the signal.
  void Copy(TCNorvMessage const& Other);
  void SetContent(TSNorvMailContent const& Content);

  /// Attaches `Object` as record `Index` (at most the number of records) and owns it from then on.
  /// False, nothing taken, when the mail's signal has no bound part in it or `Index` is too large.
  bool SetRecordType(TCNorvMailObject* Object, int Index);

  /// Sends without waiting for an answer. True when the proxy has taken the mail; the last
  /// argument is reserved, pass 0. Throws TCException when the proxy holds as much unacknowledged
  /// mail as it may.
  bool Send(TCNorvServiceName const& Service, TCNorvServiceProxy const* Proxy, int Reserved);

  int RecordCount() const { return static_cast<int>(m_Records.size()); }
  /// Throws TCException "Index out of bounds" for an index below 0 or not below the count.
  TCNorvMailObject* GetRecord(int Index) const;
  TCNorvMailClassID const& get_MailClassID() const { return m_MailClass; }
  int get_SignalType() const { return m_SignalType; }
  int get_SignalName() const { return m_SignalName; }

  /// What of the mail is overtaken; null when it was neither handed over nor is to be an answer in
  /// hand.
  TCNorvMailInHand const* get_InHand() const { return m_InHand; }
  TSNorvMailContent get_Content() const;
  /// The encoded records, for who reads many of them into one object. Throws TCException when there
  /// are any and they do not have the fields of `Layout`.
  std::shared_ptr<TCNorvMailBody const> get_Body(TCNorvRecordObject const& Layout) const;
  /// One line for traces: class, signal and all records with their field names.
  std::string get_AsText() const;

  /// Printable name of a signal type.
  static std::string SignalTypename(int SignalType);

 protected:
  /// A new record object for this message, or null when the message has no record class.
  virtual std::unique_ptr<TCNorvMailObject> NewRecord() const;

  // Null where the record is still encoded in m_Body.
  mutable std::vector<TCNorvMailObject*> m_Records;

 private:
  friend class TCNorvServiceProxy;

  TCNorvRecordObject& BoundRecord(TCNorvMailObject& Object) const;
  void RequireLayout(TSNorvMailContent const& Content) const;
  std::shared_ptr<TCNorvMailBody const> EncodeRecords() const;
  void ReleaseRecords();

  TCNorvMailClassID m_MailClass;
  int m_SignalType;
  int m_SignalName;
  std::shared_ptr<TCNorvMailBody const> m_Body;  // as received; null for a mail built here
  TCNorvMailInHand* m_InHand = nullptr;
};
