// SPDX-License-Identifier: MIT
// Names of streams: the mails of one class to one mailbox.
#pragma once

#include <string>

#include "Platform/Messaging/TCNorvMailClassID.h"

/// The name. Remembered, because a thread asks for the same one again and again; good until it asks
/// for another. Throws TCException for a mailbox or class that no mail can have.
std::string const& StreamName(std::string const& Mailbox, TCNorvMailClassID const& MailClass);
