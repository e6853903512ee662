// SPDX-License-Identifier: MIT
// The server of the model, and its connections to the processes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/model/ModelMails.h"
#include "tests/model/ModelPlan.h"
#include "tests/model/TCSharedPart.h"

/// What messaging and server promise, in its smallest form:
///  - connections that keep the order and may lose what is under way, and then catch up by the
///    mails that were missed or by the whole state;
///  - each mail taken once, in order, which is remembered with the data;
///  - mails that are refused, after which their senders are sent what stands, or the whole;
///  - rights that are taken from a process, which is sent the whole that it may still read;
///  - changes on conditions, decided on in their turn: what was refused, its sender hears with the
///    acknowledgement.
/// Throws std::logic_error when a process breaks the order.
class TCModelServer {
 public:
  explicit TCModelServer(TSModelPlan const& Plan);

  /// Mails of a process go on their way, and the first one arrives.
  void Post(std::size_t Process, std::vector<TSModelMail> const& Mails);
  bool HasToTake(std::size_t Process) const { return !m_Connections[Process]->m_Mails.empty(); }
  void Take(std::size_t Process);
  /// What was taken is written to the disk, and acknowledged.
  void Store();
  bool HasToStore() const { return m_Disk->m_Log.size() < m_Now->m_Log.size(); }
  /// The next rights of the plan are taken.
  void Hide();
  bool HasToHide() const { return m_Hidings < m_Plan->m_Hidings.size(); }

  /// What is under way to a process: the first one arrives.
  bool HasToTell(std::size_t Process) const { return !m_Connections[Process]->m_Told.empty(); }
  TSModelPublished TakeTold(std::size_t Process);
  /// A process that is owed the whole is sent it.
  bool IsBehind(std::size_t Process) const { return m_Connections[Process]->m_Behind; }
  void Resume(std::size_t Process);

  void Cut(std::size_t Process);
  /// The process has received up to that place. Of a process that may not be sent what it has
  /// missed, only the whole is right.
  void Connect(std::size_t Process, Wire::TSPosition const& Received, bool Whole);
  bool MayReplay(std::size_t Process, Wire::TSPosition const& Received) const;
  bool IsConnected(std::size_t Process) const { return m_Connections[Process]->m_Connected; }
  bool AreAllConnected() const;
  void Crash();

  /// What a process may read of what stands.
  TCModelValues Readable(std::size_t Process) const;
  /// Whether that mail on a condition was refused, as is known after it was acknowledged.
  bool WasRefused(std::size_t Process, std::uint64_t Number) const;
  /// Of a world in which nothing is left to happen: empty, or what is wrong with the mails that
  /// were taken of the `Last` ones of a process.
  std::string FaultOfTaken(std::size_t Process, std::uint64_t Last) const;

  /// Appends the numbers of its parts: equal for two with the same future. What was published
  /// matters while somebody may come back to it.
  void AppendNumbers(TCPartNumbers& Numbers, bool WithPublished, std::u32string& Result) const;
  /// The same for that place among what was published.
  std::uint32_t PlaceOf(Wire::TSPosition const& Received) const;
  std::string get_AsText() const;

 private:
  using TCMailName = std::pair<std::size_t, std::uint64_t>;  // process and number

  // What the server holds, or would come back with.
  struct TSLedger {
    TCModelValues m_Values;
    std::vector<std::uint64_t> m_Last;  // taken mail of each process
    std::vector<TCMailName> m_Log;      // mails in the order taken
    std::set<TCMailName> m_Refused;     // of those on conditions
  };
  struct TSConnection {
    bool m_Connected = true;
    std::vector<TSModelMail> m_Mails;  // under way to the server
    std::vector<TSModelPublished> m_Told;
    std::uint64_t m_Place = 0;                    // up to which the process has been told
    std::optional<TSModelPublished> m_OwnToTell;  // kept until it matters
    bool m_Behind = false;                        // it is owed the whole, and sent nothing before
    std::uint64_t m_ToAcknowledge = 0;            // behind that
    std::set<int> m_Hidden;                       // what the process may not read and write
  };

  bool IsAllowed(std::size_t Process, TSModelMail const& Mail) const;
  bool IsAsExpected(TSModelMail const& Mail) const;
  void Refuse(std::size_t Process, TSModelMail const& Mail);
  void Publish(std::size_t Process, TSModelMail const& Mail);
  void Restore(std::size_t Process, TSModelMail const& Mail);
  void Keep(TSModelPublished Published);
  std::optional<TSModelPublished> Forwarded(std::size_t Process, TSModelPublished Published) const;
  TSModelPublished WholeFor(std::size_t Process) const;
  void FallBehind(std::size_t Process, std::size_t Concerned);
  void Acknowledge(std::size_t Process, std::uint64_t Number);
  void Tell(std::size_t Process, TSModelPublished const& Published);
  void Append(TSConnection& Connection, TSModelPublished Published) const;
  Wire::TSPosition NewestPlace() const { return {m_Epoch, m_Published->size()}; }

  static std::string TextOf(TSLedger const& Ledger);
  static std::string TextOf(std::vector<TSModelPublished> const& Published);
  static std::string TextOf(TSConnection const& Connection);

  TSModelPlan const* m_Plan;
  std::uint64_t m_Epoch = 1;
  std::size_t m_Hidings = 0;  // that have come
  TCSharedPart<TSLedger> m_Now;
  TCSharedPart<TSLedger> m_Disk;
  TCSharedPart<std::vector<TSModelPublished>> m_Published;  // of this epoch
  std::vector<TCSharedPart<TSConnection>> m_Connections;
};
