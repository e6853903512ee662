// SPDX-License-Identifier: MIT
// Owning handles for the C objects of the bus and event libraries, and for file descriptors.
#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <memory>
#include <utility>

struct TSBusDeleter {
  void operator()(sd_bus* Bus) const { sd_bus_close_unref(Bus); }
  void operator()(sd_bus_message* Message) const { sd_bus_message_unref(Message); }
  void operator()(sd_bus_slot* Slot) const { sd_bus_slot_unref(Slot); }
  void operator()(sd_bus_creds* Credentials) const { sd_bus_creds_unref(Credentials); }
  void operator()(sd_event* Event) const { sd_event_unref(Event); }
  void operator()(sd_event_source* Source) const { sd_event_source_disable_unref(Source); }
};

using TCBusHandle = std::unique_ptr<sd_bus, TSBusDeleter>;
using TCBusMessage = std::unique_ptr<sd_bus_message, TSBusDeleter>;
using TCBusSlot = std::unique_ptr<sd_bus_slot, TSBusDeleter>;
using TCBusCredentials = std::unique_ptr<sd_bus_creds, TSBusDeleter>;
using TCEventHandle = std::unique_ptr<sd_event, TSBusDeleter>;
using TCEventSource = std::unique_ptr<sd_event_source, TSBusDeleter>;

/// Owns a file descriptor; -1 is none.
class TCFileDescriptor {
 public:
  TCFileDescriptor() = default;
  explicit TCFileDescriptor(int File) : m_File(File) {}
  TCFileDescriptor(TCFileDescriptor&& Other) noexcept : m_File(std::exchange(Other.m_File, -1)) {}
  TCFileDescriptor& operator=(TCFileDescriptor&& Other) noexcept {
    std::swap(m_File, Other.m_File);
    return *this;
  }
  ~TCFileDescriptor() {
    if (m_File >= 0) {
      close(m_File);
    }
  }

  int get() const { return m_File; }
  int Release() { return std::exchange(m_File, -1); }

 private:
  int m_File = -1;
};
