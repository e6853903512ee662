// SPDX-License-Identifier: MIT
// A notifier with a descriptor, whose changes are told when the program says so.
#include "CommonProperties/TCPropertyEvents.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <exception>
#include <utility>
#include <vector>

#include "CommonProperties/TCChangeHandlers.h"
#include "CommonProperties/TCPropertyCollection.h"
#include "CommonProperties/TCPropertyID.h"
#include "CommonProperties/TCPropertyKey.h"
#include "CommonProperties/TCUntoldChanges.h"
#include "Platform/Utility/TCException.h"
#include "Platform/Utility/TCMACAddress.h"

namespace Property {

namespace {

constexpr char kSource[] = "../CommonProperties/TCPropertyEvents";

int NewDescriptor() {
  int const Descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (Descriptor < 0) {
    throw TCException(kSource, __LINE__)
        .Format("cannot make a descriptor for events: %s", std::strerror(errno));
  }
  return Descriptor;
}

// Calls all; returns what the first of those that throw has thrown.
std::exception_ptr CallAll(std::vector<TCChangeHandlers::TCHandler> const& Handlers,
                           TCUntoldChanges::TCChanges::value_type const& Change, bool& Called) {
  std::exception_ptr Thrown;
  for (TCChangeHandlers::TCHandler const& Handler : Handlers) {
    if (!Handler->Active) {
      continue;  // a handler before it has ended its subscription
    }
    Called = true;
    try {
      Handler->Function(Change.first, Change.second);
    } catch (...) {
      Thrown = Thrown != nullptr ? Thrown : std::current_exception();
    }
  }
  return Thrown;
}

}  // namespace

/// Outlives its owner while it dispatches. Its descriptor is readable while something is pending:
/// both are changed under m_Lock, which is not held while functions are called or destroyed.
class TCPropertyEvents::TCQueue : public TCCommonPropertyChangeNotifier {
 public:
  ~TCQueue() override {
    TCPropertyCollection::DelNotifier(this);
    close(m_Descriptor);
  }

  int get_Descriptor() const noexcept { return m_Descriptor; }

  void Add(std::shared_ptr<TSChangeHandler> const& Handler) {
    TCCriticalSectionLock const Lock(m_Lock);
    m_Handlers.Add(Handler);
  }
  void Remove(TSChangeHandler const& Handler) noexcept {
    TCCriticalSectionLock const Lock(m_Lock);
    m_Handlers.Remove(Handler);
  }

  std::size_t Dispatch(std::size_t Most);
  /// From here on nothing comes, and nobody is told.
  void Close() noexcept;

 protected:
  bool OnPropQueued() override;

 private:
  bool IsInParent() const noexcept { return m_Process == getpid(); }
  std::size_t CountPending();
  /// The oldest change, and who is to be told; false when there is none.
  bool Take(TCUntoldChanges::TCChanges& Change, std::vector<TCChangeHandlers::TCHandler>& Told);
  void SetReadable() const noexcept;
  void SetUnreadable() const noexcept;

  int const m_Descriptor = NewDescriptor();
  pid_t const m_Process = getpid();

  // guarded by m_Lock
  TCUntoldChanges m_Pending;
  TCChangeHandlers m_Handlers;
};

// A change that could not be kept, for lack of memory, stays in m_Queue until the next one comes.
bool TCPropertyEvents::TCQueue::OnPropQueued() {
  TCCriticalSectionLock const Lock(m_Lock);
  while (!m_Queue.empty()) {
    if (!m_Handlers.AreThereAny(m_Queue.front().first)) {
      m_Queue.pop_front();
      continue;
    }
    bool const IsFirst = m_Pending.IsEmpty();
    m_Pending.Keep(m_Queue);
    if (IsFirst) {
      SetReadable();
    }
  }
  return true;
}

std::size_t TCPropertyEvents::TCQueue::CountPending() {
  TCCriticalSectionLock const Lock(m_Lock);
  return m_Pending.get_Count();
}

bool TCPropertyEvents::TCQueue::Take(TCUntoldChanges::TCChanges& Change,
                                     std::vector<TCChangeHandlers::TCHandler>& Told) {
  TCCriticalSectionLock const Lock(m_Lock);
  if (m_Pending.IsEmpty()) {
    return false;
  }
  Told = m_Handlers.Find(m_Pending.get_Oldest());
  m_Pending.Take(Change);
  if (m_Pending.IsEmpty()) {
    SetUnreadable();
  }
  return true;
}

// A child has the parent's descriptor, which counts for both of them.
void TCPropertyEvents::TCQueue::SetReadable() const noexcept {
  std::uint64_t const One = 1;
  if (IsInParent()) {
    static_cast<void>(write(m_Descriptor, &One, sizeof(One)) == sizeof(One));
  }
}

void TCPropertyEvents::TCQueue::SetUnreadable() const noexcept {
  std::uint64_t Count = 0;
  static_cast<void>(read(m_Descriptor, &Count, sizeof(Count)) == sizeof(Count));
}

std::size_t TCPropertyEvents::TCQueue::Dispatch(std::size_t Most) {
  if (!IsInParent()) {
    return 0;
  }
  std::size_t Count = 0;
  for (std::size_t Left = CountPending(); Left > 0 && Count < Most; --Left) {
    TCUntoldChanges::TCChanges Change;
    std::vector<TCChangeHandlers::TCHandler> Told;
    if (!Take(Change, Told)) {
      break;  // taken by another call
    }
    bool Called = false;
    std::exception_ptr const Thrown = CallAll(Told, Change.front(), Called);
    if (Thrown != nullptr) {
      std::rethrow_exception(Thrown);
    }
    Count += Called ? 1 : 0;
  }
  return Count;
}

void TCPropertyEvents::TCQueue::Close() noexcept {
  TCPropertyCollection::DelNotifier(this);
  TCChangeHandlers Handlers;
  TCUntoldChanges Pending;
  TCCriticalSectionLock const Lock(m_Lock);  // left before those two are destroyed
  std::swap(m_Handlers, Handlers);
  std::swap(m_Pending, Pending);
  Handlers.Deactivate();
}

// ---- the program's side ----

TCPropertyEvents::TCSubscription& TCPropertyEvents::TCSubscription::operator=(
    TCSubscription&& Right) noexcept {
  if (this != &Right) {
    End();
    m_Queue = std::move(Right.m_Queue);
    m_Handler = std::move(Right.m_Handler);
  }
  return *this;
}

TCPropertyEvents::TCSubscription::~TCSubscription() {
  End();
}

void TCPropertyEvents::TCSubscription::End() noexcept {
  std::shared_ptr<TSChangeHandler> const Handler = std::move(m_Handler);
  if (Handler == nullptr) {
    return;
  }
  Handler->Active = false;
  if (std::shared_ptr<TCQueue> const Queue = m_Queue.lock()) {
    Queue->Remove(*Handler);
  }
}

TCPropertyEvents::TCPropertyEvents() : m_Queue(std::make_shared<TCQueue>()) {
  m_Queue->Enable();
}

TCPropertyEvents::~TCPropertyEvents() {
  m_Queue->Close();
}

int TCPropertyEvents::get_Descriptor() const noexcept {
  return m_Queue->get_Descriptor();
}

TCPropertyEvents::TCSubscription TCPropertyEvents::On(TCPropertyID const& ID, THandler Handler) {
  return Subscribe(std::make_shared<TSChangeHandler>(std::move(Handler), ID.get_Number()));
}

TCPropertyEvents::TCSubscription TCPropertyEvents::On(TCPropertyID const& ID,
                                                      Accessories::TCRecordID const& Link,
                                                      std::string const& MAC, THandler Handler) {
  TCMACAddress Device(MAC);
  if (Device.Empty()) {
    TCPropertyCollection::get();  // knows this device's own, and has completed the schema
    Device = TCPropertyCollection::GetCurrentMAC(ID);
  }
  return Subscribe(
      std::make_shared<TSChangeHandler>(std::move(Handler), TCPropertyKey(ID, Link, Device)));
}

TCPropertyEvents::TCSubscription TCPropertyEvents::OnAny(THandler Handler) {
  return Subscribe(std::make_shared<TSChangeHandler>(std::move(Handler)));
}

TCPropertyEvents::TCSubscription TCPropertyEvents::Subscribe(
    std::shared_ptr<TSChangeHandler> Handler) {
  if (!Handler->Function) {
    throw TCException(kSource, __LINE__, "Handler->Function")
        .Format("Subscribing to changes needs a function to call");
  }
  m_Queue->Add(Handler);
  TCSubscription Result;
  Result.m_Queue = m_Queue;
  Result.m_Handler = std::move(Handler);
  return Result;
}

std::size_t TCPropertyEvents::Dispatch(std::size_t Most) {
  std::shared_ptr<TCQueue> const Queue = m_Queue;  // a handler may destroy this object
  return Queue->Dispatch(Most);
}

}  // namespace Property
