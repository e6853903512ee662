// SPDX-License-Identifier: MIT
// Owning handles for the C objects of the bus library.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>

struct TSBusDeleter {
  void operator()(sd_bus* Bus) const { sd_bus_close_unref(Bus); }
  void operator()(sd_bus_message* Message) const { sd_bus_message_unref(Message); }
  void operator()(sd_bus_slot* Slot) const { sd_bus_slot_unref(Slot); }
};

using TCBusHandle = std::unique_ptr<sd_bus, TSBusDeleter>;
using TCBusMessage = std::unique_ptr<sd_bus_message, TSBusDeleter>;
using TCBusSlot = std::unique_ptr<sd_bus_slot, TSBusDeleter>;
