// SPDX-License-Identifier: MIT
// Names and numbers of the mails that look after properties. See docs/protocol.md.
#pragma once

#include "PropertyInterface/PropertyProtocol.h"

/// The class "propertycontrol": questions about changes, asked as requests and answered with type 2
/// and the same name. All records are TCNorvControlObject's; each signal says which of its fields
/// it assigns. A text field with a number has it in decimal digits. The numbers are on the wire:
/// each keeps its meaning for ever.
namespace Property::PropertyControl {

constexpr char kClassName[] = "propertycontrol";
constexpr int kClassVersion = 1;

using PropertyProtocol::TSSignal;

/// What people mean, and what stands there. A record for each, at most kMostFound: text, which is a
/// number, a name, a path or a beginning of these, also with "[record]"; or id. link, for what
/// names no record itself; mac, whose value is meant; without it that of the asking process's
/// device or of none, as the property's class says; secret, to have the texts of secrets, too.
/// Answer, in their order: refused and text, why nothing is told; or id, link, mac; path, where the
/// server's schema knows the property; secret; data, what is stored, or else the default, unless
/// there is neither or it is secret (an empty text stands for the default); held, whether that is
/// stored; text, where people read it as something else. No record at all where a text is asked for
/// and the server has no schema.
constexpr TSSignal kFind{eNorvRequest, 1};

/// What has changed, the newest first. The request's one record narrows it: id, link, mac, user,
/// program, transaction, time (not before it); place goes on where the answer before has ended;
/// limit is the most entries (default kPageEntries, at most kMostPageEntries).
/// Answer, for each changed value: place, transaction, time, user, process, program, id, link, mac,
/// secret, removed; undoes, of what takes another transaction back; former unless there was no
/// value or its text is not kept; data unless the value was removed or its text is not kept. A last
/// record that assigns place only says that there may be more, to be asked for with that place,
/// also where no other record came.
constexpr TSSignal kHistory{eNorvRequest, 2};

/// Where values come from. A record for each: id, link, mac. Answer, in their order: the same,
/// held; where it is held: data, secret, and as far as the server knows it user, process, program,
/// time and transaction of who has set it; seconds that are left when the change
/// waits for its confirmation. orphan: it is kept aside, and held is false.
constexpr TSSignal kExplain{eNorvRequest, 3};

/// What has become of the last mail of the asking proxy to this mailbox that is stored. No record.
/// Answer, none when there was no such mail, else one: mail; refused; text, why, when it was; else
/// transaction, unless nothing was changed.
constexpr TSSignal kOutcome{eNorvRequest, 4};

/// Which values are kept aside, because the schema has no field for them; for administrators. The
/// request's one record may name the last one known: id, link, mac. Answer, at most
/// kMostPageEntries: id, link, mac, secret; data, unless it is secret; text, what the schema has
/// there. A record without id says that there may be more.
constexpr TSSignal kOrphans{eNorvRequest, 5};

/// Which changes wait for their confirmation: the asking user's, or, for who may administer the
/// server, all. No record. Answer, for each: transaction, time, user, process, program, seconds
/// that are left.
constexpr TSSignal kPending{eNorvRequest, 6};

/// Which properties are secret, of those that the asker may read. Answer, for each range of
/// numbers: id, last.
constexpr TSSignal kSecrets{eNorvRequest, 7};

/// Which schema libraries the server has found; for administrators. No record. Answer, for each:
/// path; device, inode, size and time (nanoseconds), where there is a file; held, whether it is
/// loaded; refused, whether it was tried and is not; text, why not.
constexpr TSSignal kSchemas{eNorvRequest, 8};

/// What the server publishes to the sender of a refused mail alone, before it acknowledges that.
/// For each such mail, in their order: mail, refused; text, why; id, link and mac of the value that
/// it is about, if it is about one. Further records of the same mail, without text, name further
/// values. Of a value that is not what the mail has expected, and that its sender may read: held;
/// data, where it is held, both as they are now. Who subscribes again is told what is remembered:
/// then a first record that has nothing but mail says that others up to that mail are forgotten.
constexpr TSSignal kRefusals{eNorvEvent, 1};

// Mails, acknowledged when what they do is on the disk; kOutcome tells whether they were refused.

/// Changes values and takes that back by itself unless it is confirmed in time. The first record:
/// seconds. The others: id, link, mac, data; without data the value is removed. Those that assign
/// held say what is expected, as with kChangeIf.
constexpr TSSignal kChange{eNorvChange, 10};

/// Makes the values what they were before a transaction. One record: transaction; force, to do so
/// although values were changed since.
constexpr TSSignal kUndo{eNorvChange, 11};

/// A change that waits stays. One record: transaction.
constexpr TSSignal kConfirm{eNorvChange, 12};

/// Removes the values of a number that are kept aside; for administrators. One record: id.
constexpr TSSignal kForget{eNorvChange, 13};

/// Removes values, so that everybody has the default. A record for each: id, link, mac.
constexpr TSSignal kReset{eNorvChange, 14};

/// Changes values, all or none, if others, or the same, are what is expected. A record for each:
/// id, link, mac and, of what is expected, held: false where there is to be no value, else true
/// with data, the value's stored text; of what is changed, data, without which the value is
/// removed. Who expects something of a value has to have the right to read it. What it changes its
/// sender is sent as what brings it up to date with this mail.
constexpr TSSignal kChangeIf{eNorvChange, 15};

/// All of them.
constexpr TSSignal kSignals[] = {kFind,    kHistory, kExplain, kOutcome,  kOrphans,
                                 kPending, kSecrets, kSchemas, kChange,   kUndo,
                                 kConfirm, kForget,  kReset,   kChangeIf, kRefusals};

constexpr int kPageEntries = 100;
constexpr int kMostPageEntries = 1000;
constexpr int kMostExplained = 100;
constexpr int kMostFound = 100;

}  // namespace Property::PropertyControl
