// SPDX-License-Identifier: MIT
// Properties for programs in C, and in languages that call C.
//
// Threads: every function may be called on every thread, unless it says otherwise. A function that
// gives back a handle (property_free_...) may be called on every thread, too, but not while another
// thread uses that handle. Nothing here calls the program back.
//
// Failures: a function that can fail returns a property_status, PROPERTY_OK or what went wrong, and
// property_last_error() has it in words. On failure outputs are left alone, unless it says
// otherwise. A null handle, or a null pointer where one is needed, is PROPERTY_BAD_ARGUMENT; a
// handle that was given back must not be used. PROPERTY_NO_MEMORY and PROPERTY_FAILED may come from
// each of them. No exception comes out, and a thread that is cancelled is cancelled after the call.
//
// Times are in milliseconds; -1 is without limit, other negative ones are PROPERTY_BAD_ARGUMENT.
//
// Forks: a child that was forked after property_open reads the values as they were then. Whatever
// changes, sends or waits is PROPERTY_IN_CHILD there.
#pragma once

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#  define PROPERTY_C_EXPORT __attribute__((visibility("default")))
#  define PROPERTY_C_CALL PROPERTY_C_EXPORT __attribute__((warn_unused_result))
#else
#  define PROPERTY_C_EXPORT
#  define PROPERTY_C_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// What has become of a call. Numbers keep their meaning; later versions may add some.
typedef int32_t property_status;
enum {
  PROPERTY_OK = 0,
  PROPERTY_FAILED = 1,           ///< for a reason without a number of its own
  PROPERTY_NO_MEMORY = 2,        ///< memory has run out
  PROPERTY_BAD_ARGUMENT = 3,     ///< the call breaks a rule
  PROPERTY_TIMED_OUT = 4,        ///< the time has passed
  PROPERTY_CLOSED = 5,           ///< store or watch has ended
  PROPERTY_NOT_FOUND = 6,        ///< there is no such property, choice or element
  PROPERTY_AMBIGUOUS = 7,        ///< the name fits several properties
  PROPERTY_WRONG_TYPE = 8,       ///< the property is of another type
  PROPERTY_BAD_VALUE = 9,        ///< the property may not have this value
  PROPERTY_NO_VALUE = 10,        ///< there is no default, or the value could not be fetched
  PROPERTY_NO_SCHEMA = 11,       ///< no schema library could be loaded
  PROPERTY_OTHER_STORE = 12,     ///< the process has a store that was opened in another way
  PROPERTY_WRONG_THREAD = 13,    ///< a transaction or a guard is another thread's
  PROPERTY_IN_TRANSACTION = 14,  ///< this thread has a transaction open
  PROPERTY_ENDED = 15,      ///< the transaction was committed or rolled back, or no guard is held
  PROPERTY_SET_TWICE = 16,  ///< this transaction has set the value otherwise
  PROPERTY_REFUSED = 17,    ///< the server has refused changes
  PROPERTY_CONFLICT = 18,   ///< values are not as expected; nothing has changed
  PROPERTY_UNKNOWN = 19,    ///< decided, but nobody knows any more how
  PROPERTY_IN_GUARD = 20,   ///< the server is not asked while this thread has a guard
  PROPERTY_IN_CHILD = 21    ///< this process is a fork of the one that has the store
};

/// The types of properties. Later versions may add some.
typedef int32_t property_type;
enum {
  PROPERTY_TYPE_NONE = 0,
  PROPERTY_TYPE_INTEGER = 1,  ///< a whole number of 32 bits
  PROPERTY_TYPE_BOOLEAN = 2,
  PROPERTY_TYPE_TEXT = 3,    ///< any bytes
  PROPERTY_TYPE_CHOICE = 4,  ///< one of a list
  PROPERTY_TYPE_LOOKUP = 5   ///< a text that a table gives
};

/// For property_open: values of all devices are taken in, not only those of this one.
#define PROPERTY_ALL_DEVICES UINT32_C(1)
/// The record of a property that has one value a device.
#define PROPERTY_NO_RECORD INT64_MIN
/// The length of a text that ends with a zero byte.
#define PROPERTY_WHOLE_TEXT SIZE_MAX

typedef struct property_store property_store;  ///< that the process has opened its store
typedef struct property_value property_value;  ///< where a value is: never changes
typedef struct property_transaction property_transaction;  ///< changes of one thread
typedef struct property_receipt property_receipt;          ///< stands for changes that were sent
typedef struct property_watch property_watch;              ///< queues changes of values
typedef struct property_change property_change;            ///< one of them: never changes

// ---- the library ----

/// Of the library that is loaded, like "0.1.0". Its versions of one shared-object name (SONAME)
/// keep what this header promises and may add to it.
PROPERTY_C_EXPORT const char* property_version(void);

/// In a few words; for a number that is no status, too. Never null.
PROPERTY_C_EXPORT const char* property_status_text(property_status status);

/// Why the last call on this thread that failed did so: one line for people, fit for a terminal;
/// empty when none has failed. Good until the next call on this thread that fails.
PROPERTY_C_EXPORT const char* property_last_error(void);

/// Gives back a text that a call has answered; null does nothing.
PROPERTY_C_EXPORT void property_free(void* memory);

// ---- the store ----

/// Loads the schema libraries, makes the process's store, and waits until it is connected and has
/// the values.
///
/// `schemas` names files, and folders of which all *.so are meant; a null pointer ends the list. A
/// null list means the variable PROPERTY_SCHEMA, or else the installed schemas. `flags` is 0 or
/// PROPERTY_ALL_DEVICES. The server is found at MAILROUTER_ADDRESS. `timeout` is for the server;
/// loading takes no longer than 20 s. When the time has passed, connecting goes on: a further call
/// waits for the same.
///
/// A process has one store, until it ends. A further call answers a further handle of it, and a C++
/// store of the process is joined, too; PROPERTY_OTHER_STORE when other schemas or flags are asked
/// for than it has. A null list asks for none.
///
/// Also PROPERTY_NO_SCHEMA, PROPERTY_TIMED_OUT, PROPERTY_IN_CHILD; PROPERTY_FAILED when the address
/// can have no server, or that refuses the values: a further call tries again.
PROPERTY_C_CALL property_status property_open(const char* const* schemas, uint32_t flags,
                                              int32_t timeout, property_store** store);

/// Gives back a handle of the store; null does nothing. The store itself, and with it all other
/// handles, stay usable until the process ends. A process that ends in good order waits up to 2
/// seconds until the server has what was sent; how to wait longer: property_receipt_all.
PROPERTY_C_EXPORT void property_close(property_store* store);

/// Which schema libraries were left out and why: a line each, fit for a terminal; empty for none.
/// Give `text` back by property_free.
PROPERTY_C_CALL property_status property_schema_problems(const property_store* store, char** text);

/// The address of this device, like "02:00:00:00:00:01"; empty when it has none. Give `text` back
/// by property_free.
PROPERTY_C_CALL property_status property_own_device(const property_store* store, char** text);

// ---- which value ----

/// Finds a property by its number, its path ("Device/Display/Brightness"), the end of its path, or
/// beginnings of the last parts of it; "[7]" behind it names a record. `device` is the address of a
/// device; null or empty stands for this one at each use, or for none where all have one value.
/// Give `value` back by property_free_value. Also PROPERTY_NOT_FOUND, PROPERTY_AMBIGUOUS;
/// PROPERTY_BAD_ARGUMENT when `device` is no address.
PROPERTY_C_CALL property_status property_find(const property_store* store, const char* name,
                                              const char* device, property_value** value);

/// How many properties the schema has, and each of them, in the order of the tree. Also
/// PROPERTY_NOT_FOUND.
PROPERTY_C_EXPORT size_t property_count(const property_store* store);
PROPERTY_C_CALL property_status property_at(const property_store* store, size_t index,
                                            property_value** value);

/// The same property in another record, or in none, and on another device, as property_find takes
/// it. PROPERTY_BAD_ARGUMENT when the record has more than 32 bits.
PROPERTY_C_CALL property_status property_elsewhere(const property_value* value, int64_t record,
                                                   const char* device, property_value** other);

/// Null does nothing.
PROPERTY_C_EXPORT void property_free_value(property_value* value);

// What the schema says. Texts are good as long as the handle. These cannot fail; a null handle
// answers null or 0.

PROPERTY_C_EXPORT int32_t property_number(const property_value* value);
PROPERTY_C_EXPORT property_type property_type_of(const property_value* value);
/// The names from the container on, like "Device/Display/Brightness".
PROPERTY_C_EXPORT const char* property_path(const property_value* value);
PROPERTY_C_EXPORT const char* property_name(const property_value* value);
PROPERTY_C_EXPORT const char* property_description(const property_value* value);
/// The regular expression that values have to match; empty for none.
PROPERTY_C_EXPORT const char* property_pattern(const property_value* value);
/// As declared: 0x01 is for hidden, 0x04 for advanced; others are for the type.
PROPERTY_C_EXPORT int32_t property_flags(const property_value* value);
/// PROPERTY_NO_RECORD for none, also of a null handle.
PROPERTY_C_EXPORT int64_t property_record(const property_value* value);
/// Empty for the current device, or none.
PROPERTY_C_EXPORT const char* property_device(const property_value* value);
/// How many choices it has; 0 unless it is a PROPERTY_TYPE_CHOICE.
PROPERTY_C_EXPORT size_t property_choice_count(const property_value* value);

/// One choice; what is not wanted may be null. Texts are good until the process ends. Also
/// PROPERTY_NOT_FOUND.
PROPERTY_C_CALL property_status property_choice_at(const property_value* value, size_t index,
                                                   int32_t* number, const char** text,
                                                   const char** name, const char** description);

/// What a value of this device is that nobody has set, as property_get_text answers it. Also
/// PROPERTY_NO_VALUE. Give `text` back by property_free.
PROPERTY_C_CALL property_status property_default_text(const property_value* value, char** text,
                                                      size_t* length);

// ---- reading ----
//
// A read answers what this process holds, or what its open transaction on this thread has set. A
// value that nobody has set reads as its default, without one as 0 or empty. A value of another
// device that the process does not hold is asked for from the server, without a limit of time; the
// process holds it from then on. Also PROPERTY_WRONG_TYPE; for such a value PROPERTY_NO_VALUE when
// it can not be fetched, and PROPERTY_IN_GUARD.

/// Of a PROPERTY_TYPE_INTEGER.
PROPERTY_C_CALL property_status property_get_int(const property_value* value, int32_t* number);
/// Of a PROPERTY_TYPE_BOOLEAN: 1 or 0.
PROPERTY_C_CALL property_status property_get_bool(const property_value* value, int32_t* truth);
/// Of a PROPERTY_TYPE_CHOICE: the number of the choice.
PROPERTY_C_CALL property_status property_get_choice(const property_value* value, int32_t* number);
/// Of any type: a choice's text, a boolean as "1" or "0". The bytes are those that were set, valid
/// UTF-8 or not, zero bytes included, and a zero byte ends them. `length`, unless it is null, is
/// given their number. Give `text` back by property_free.
PROPERTY_C_CALL property_status property_get_text(const property_value* value, char** text,
                                                  size_t* length);
/// Whether this process holds a value: 1 or 0. Asks neither server nor transaction.
PROPERTY_C_CALL property_status property_exists(const property_value* value, int32_t* exists);

// ---- changing ----
//
// A set stores the value here, and sends it; it returns before the server has it: see the receipts.
// While this thread has a transaction open it is pending there. Also PROPERTY_WRONG_TYPE,
// PROPERTY_BAD_VALUE for what the schema forbids, PROPERTY_SET_TWICE in a transaction, and
// PROPERTY_IN_CHILD.

PROPERTY_C_CALL property_status property_set_int(const property_value* value, int32_t number);
/// Everything but 0 is true.
PROPERTY_C_CALL property_status property_set_bool(const property_value* value, int32_t truth);
/// Takes the number of a choice.
PROPERTY_C_CALL property_status property_set_choice(const property_value* value, int32_t number);
/// Of a PROPERTY_TYPE_TEXT or PROPERTY_TYPE_LOOKUP; `length` bytes, or PROPERTY_WHOLE_TEXT.
PROPERTY_C_CALL property_status property_set_text(const property_value* value, const char* text,
                                                  size_t length);
/// Of any type, as a person writes it: a choice by text, number, name or description, a boolean as
/// true, yes, on or 1 and their opposites. The empty text stands for the default.
PROPERTY_C_CALL property_status property_set_written(const property_value* value, const char* text);
/// Sets the default that the schema has now. Also PROPERTY_NO_VALUE.
PROPERTY_C_CALL property_status property_set_default(const property_value* value);

// ---- reading values that belong together ----

/// Until the guard is left no other thread, and no received change, changes a value: all reads on
/// this thread are of one state. Other threads wait meanwhile; take it around reads alone. May be
/// taken again by the same thread.
PROPERTY_C_CALL property_status property_guard_enter(const property_store* store);
/// PROPERTY_ENDED when this thread has none. A thread that ends leaves its guards.
PROPERTY_C_CALL property_status property_guard_leave(const property_store* store);

// ---- transactions ----
//
// A transaction belongs to the thread that began it: what that thread sets until its end is pending
// in it, for reads on that thread too, and is then made by the server wholly or not at all. Other
// threads' use is PROPERTY_WRONG_THREAD; use after the end is PROPERTY_ENDED. A value that is set
// is sent also where this process holds it already. Setting one otherwise again is
// PROPERTY_SET_TWICE: roll back, and begin again.

/// PROPERTY_IN_TRANSACTION when this thread has one open: they do not nest. Give `transaction` back
/// by property_free_transaction.
PROPERTY_C_CALL property_status property_begin(const property_store* store,
                                               property_transaction** transaction);

/// property_commit_if_unchanged is to do it only if the server still holds what this process holds
/// now. To read what is expected, read after this, both with one guard held: what comes in between
/// would not be expected. PROPERTY_BAD_ARGUMENT for a value that this transaction has set.
PROPERTY_C_CALL property_status property_expect(property_transaction* transaction,
                                                const property_value* value);

/// Ends the transaction, puts it into this process's store and sends it. `receipt`, unless it is
/// null, is given a receipt of it.
PROPERTY_C_CALL property_status property_commit(property_transaction* transaction,
                                                property_receipt** receipt);

/// Ends the transaction and has the server decide. PROPERTY_OK: it is stored, and this thread reads
/// it. PROPERTY_CONFLICT: values are not as expected. PROPERTY_REFUSED: it is not allowed.
/// PROPERTY_TIMED_OUT, PROPERTY_CLOSED: it may still be done. PROPERTY_UNKNOWN. `receipt`, unless
/// it is null, is given a receipt of it with each of these. PROPERTY_IN_GUARD, PROPERTY_IN_CHILD:
/// it stays open.
PROPERTY_C_CALL property_status property_commit_if_unchanged(property_transaction* transaction,
                                                             int32_t timeout,
                                                             property_receipt** receipt);

/// Ends the transaction without any change. One that has ended is no failure.
PROPERTY_C_CALL property_status property_rollback(property_transaction* transaction);

/// Rolls back what is open; null does nothing. On another thread than the transaction's it is
/// rolled back by that thread: at its next call of this library, or when it ends.
PROPERTY_C_EXPORT void property_free_transaction(property_transaction* transaction);

// ---- receipts ----

/// Of this thread's last set or commit, or of no change, which is durable. Give `receipt` back by
/// property_free_receipt. Also PROPERTY_IN_CHILD.
PROPERTY_C_CALL property_status property_receipt_last(const property_store* store,
                                                      property_receipt** receipt);
/// Of all that this process has changed so far, on every thread.
PROPERTY_C_CALL property_status property_receipt_all(const property_store* store,
                                                     property_receipt** receipt);

/// PROPERTY_OK: the server has stored the changes, which survive a power cut. PROPERTY_REFUSED: it
/// has refused some and stored the others. PROPERTY_TIMED_OUT: nobody knows yet. PROPERTY_CLOSED:
/// the process is ending. PROPERTY_UNKNOWN: server or process have forgotten refusals. May be
/// repeated, and called by several threads. Also PROPERTY_IN_CHILD.
PROPERTY_C_CALL property_status property_receipt_wait(property_receipt* receipt, int32_t timeout);

/// How many refusals the receipt has: of a set or a transaction each. 0 before a wait has ended
/// with PROPERTY_OK, PROPERTY_REFUSED or PROPERTY_UNKNOWN, or a commit with these or
/// PROPERTY_CONFLICT; after that, nothing of a receipt changes. `complete`, unless it is null, is
/// given 0 when there may be more, else 1.
PROPERTY_C_CALL property_status property_refusal_count(const property_receipt* receipt,
                                                       size_t* count, int32_t* complete);
/// Why, for people, fit for a terminal; good as long as the receipt. Also PROPERTY_NOT_FOUND.
PROPERTY_C_CALL property_status property_refusal_reason(const property_receipt* receipt,
                                                        size_t refusal, const char** reason);
/// A value that it is about. `standing`, unless it is null, is given the text that the server
/// holds, as it is stored (a choice as its number), where a conflict names it, else null; good as
/// long as the receipt. PROPERTY_NOT_FOUND behind the last one.
PROPERTY_C_CALL property_status property_refusal_value(const property_receipt* receipt,
                                                       size_t refusal, size_t index,
                                                       property_value** value,
                                                       const char** standing);

/// Null does nothing.
PROPERTY_C_EXPORT void property_free_receipt(property_receipt* receipt);

// ---- watching ----

/// Queues changes from now on, of what it is told to watch. Of changes of one value that wait the
/// last is kept, so that what waits is bounded; a removal that waits is told in any case. Give
/// `watch` back by property_free_watch.
PROPERTY_C_CALL property_status property_watch_new(const property_store* store,
                                                   property_watch** watch);

/// One value.
PROPERTY_C_CALL property_status property_watch_value(property_watch* watch,
                                                     const property_value* value);
/// The property in all of its records and on all devices that the process takes in.
PROPERTY_C_CALL property_status property_watch_property(property_watch* watch,
                                                        const property_value* value);
/// Everything.
PROPERTY_C_CALL property_status property_watch_all(property_watch* watch);

/// Readable while changes wait or the watch was stopped, for poll or a loop's own way of watching
/// it. Belongs to the watch: only wait for it. -1 for a null handle.
PROPERTY_C_EXPORT int property_watch_descriptor(const property_watch* watch);

/// Takes the oldest change that waits; waits up to `timeout` for one. Also PROPERTY_TIMED_OUT;
/// PROPERTY_CLOSED when the watch was stopped; PROPERTY_IN_CHILD. Give `change` back by
/// property_free_change.
PROPERTY_C_CALL property_status property_watch_next(property_watch* watch, int32_t timeout,
                                                    property_change** change);

/// Ends the waiting of all threads, now and later.
PROPERTY_C_CALL property_status property_watch_stop(property_watch* watch);

/// Null does nothing. Waits for a change that is just being queued.
PROPERTY_C_EXPORT void property_free_watch(property_watch* watch);

/// Where the value is that has changed, with its device. Give `value` back by property_free_value.
PROPERTY_C_CALL property_status property_change_value(const property_change* change,
                                                      property_value** value);
/// 1 when the value was removed: reads answer the default again.
PROPERTY_C_EXPORT int32_t property_change_removed(const property_change* change);

// What it was changed to, as the reads of a value answer it; of a removed one, its default.

PROPERTY_C_CALL property_status property_change_int(const property_change* change, int32_t* number);
PROPERTY_C_CALL property_status property_change_bool(const property_change* change, int32_t* truth);
PROPERTY_C_CALL property_status property_change_choice(const property_change* change,
                                                       int32_t* number);
PROPERTY_C_CALL property_status property_change_text(const property_change* change, char** text,
                                                     size_t* length);

/// Null does nothing.
PROPERTY_C_EXPORT void property_free_change(property_change* change);

#ifdef __cplusplus
}
#endif
