// SPDX-License-Identifier: MIT
// Names of streams: the mails of one class to one mailbox.
#pragma once

#include <string>

/// The name. Remembered, because a thread asks for the same one again and again; good until it asks
/// for another.
std::string const& StreamName(std::string const& Mailbox, std::string const& Interface);
