// SPDX-License-Identifier: MIT
// A router and a property server in a program's own unit tests.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Utility/TCRecordID.h"
#include "PropertyTesting/PropertyTestingExport.h"

namespace Property {

class TCPropertyChoiceID;
class TCPropertyID;

namespace Testing {

class TCTestControl;

/// A value and where it belongs. The text is what the server keeps: of an integer its digits, of a
/// boolean "1" or "0", of a choice its number. An empty MAC stands for this process's device, or
/// for none where the property is system-wide.
struct TSTestValue {
  TCPropertyID const* ID = nullptr;
  std::string Data;
  Accessories::TCRecordID Link;
  std::string MAC;
};

/// The real router and the real server, on a thread of the test's process, with values in memory.
/// While it lives MAILROUTER_ADDRESS names it, so that the process's store and its children find
/// it, and the process's device has the address that the test says. Both are undone in the end.
///
/// Make it first: before the store, and before threads that read the environment. There is one at a
/// time in a process. A process has one store, for good, so each test case runs in a process of its
/// own (as gtest_discover_tests and ctest do it). A store that lives on meets the next test server
/// as one that has lost its values.
///
/// Owns thread, socket and values. Operations are safe on every thread but the server's own, on
/// which none of the test's code runs; they may be called in notifiers, WaitUntilArrived()
/// excepted. Times are in milliseconds; -1 is without limit. Operations throw TCException where
/// they are misused, with nothing changed, and in a forked child, whose copy does nothing.
class PROPERTY_TESTING_EXPORT TCTestServer {
 public:
  /// The address of the device where the test says none.
  static constexpr char const* kDevice = "02:00:00:00:00:01";
  /// How long is waited for what comes at once in a test that passes.
  static constexpr int kPatience = 30000;

  /// Serves, without any value. Throws TCException when `Device` is no MAC address, there is a test
  /// server already, or a store that was made without one, or neither memory nor disk has room.
  explicit TCTestServer(std::string const& Device = kDevice);
  TCTestServer(TCTestServer const&) = delete;
  TCTestServer& operator=(TCTestServer const&) = delete;
  /// Ends all faults, waits up to 2 seconds until a server that runs has stored what this process
  /// has sent, and then is gone.
  ~TCTestServer();

  std::string const& get_Address() const;

  // ---- values ----
  //
  // What the server holds. They change as by another process: who subscribes is told. No access
  // rule and no limit is asked. The schema is complete with the first of these operations, as with
  // the store. They throw TCException while the server is stopped, where a MAC is given that is
  // none, and what a wrong schema throws.

  /// Gives a property a value: an initial one before the store is made.
  void SetValue(TCPropertyID const& ID, std::string const& Data,
                Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
                std::string const& MAC = std::string());
  void SetValue(TCPropertyID const& ID, int Data,
                Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
                std::string const& MAC = std::string());
  void SetValue(TCPropertyID const& ID, TCPropertyChoiceID const& Choice,
                Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
                std::string const& MAC = std::string());
  /// Several at once, as a transaction. Throws TCException for one without a property.
  void SetValues(std::vector<TSTestValue> const& Values);
  /// There is to be no value; nobody is told when there is none.
  void RemoveValue(TCPropertyID const& ID,
                   Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
                   std::string const& MAC = std::string());
  /// The stored text; none when there is no value.
  std::optional<std::string> FindValue(
      TCPropertyID const& ID, Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
      std::string const& MAC = std::string());
  /// How many values are held, of all properties and devices.
  long long get_ValueCount();

  // ---- what is allowed ----

  /// Rules, limits and secrets as property-server reads them from its configuration file; the
  /// former ones no longer hold. They hold for this process as for a member of the group, whoever
  /// it runs as; where the text and the system name no group, its own is the group. Numbers that
  /// the schema does not have are allowed. Throws TCException with the line and what is wrong
  /// there.
  void SetConfiguration(std::string const& Text);
  /// No process may write the property from now on, whatever the configuration says.
  void ForbidWriting(TCPropertyID const& ID);

  // ---- faults ----

  /// The next change, or transaction, that a process sends is refused for this reason. Called
  /// several times, it is the next ones, in order.
  void RefuseNextChange(std::string const& Reason);

  /// The server ends in good order: what it has read is stored. Processes lose their connection,
  /// keep what they send, and wait. Throws TCException when it is stopped.
  void Stop();
  /// It is back, with the values that it had. Throws TCException when it is not stopped.
  void Start();
  /// It will start without any value, and without any memory of what was sent to it. Throws
  /// TCException when it is not stopped.
  void LoseValues();

  /// The server is slow: connections stand, but nothing is read, answered or acknowledged until
  /// Resume(). Changes that the test makes itself are still published. Throws TCException when it
  /// is stopped or pauses already.
  void Pause();
  /// Throws TCException when the server does not pause.
  void Resume();

  /// Changes are taken, stored and published, but nobody hears that they are stored until
  /// ReleaseAcknowledgements(), also when the server has been away meanwhile.
  void HoldAcknowledgements();
  void ReleaseAcknowledgements();

  // ---- waiting ----
  //
  // For events; never for time to pass. A TCException says what has not come in time.

  /// Waits until all that this process has sent is stored or refused, and all that the server has
  /// published is in the store and the notifiers have been called, what they have sent included.
  /// What threads do afterwards that notifiers have woken is theirs. Throws TCException when the
  /// time has passed, there is no store, or in a notifier: it would be waited for.
  void WaitUntilArrived(int Timeout = kPatience);
  /// Waits until the server holds this text. For changes whose acknowledgement is withheld, and
  /// those of other processes.
  void WaitForValue(TCPropertyID const& ID, std::string const& Data,
                    Accessories::TCRecordID const& Link = Accessories::TCRecordID(),
                    std::string const& MAC = std::string(), int Timeout = kPatience);

 private:
  std::unique_ptr<TCTestControl> m_Control;
};

}  // namespace Testing
}  // namespace Property
