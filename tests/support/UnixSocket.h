// SPDX-License-Identifier: MIT
// Sockets at paths, of the kind that frames travel on, as tests need them that come before a
// library
#pragma once

#include <sys/socket.h>
#include <sys/types.h>

#include <string>

#include "Platform/Utility/TCFileDescriptor.h"

/// A socket that is bound to `Path`, which must be free. Without a file and with errno set when the
/// system refuses.
TCFileDescriptor BindAt(std::string const& Path, int Type = SOCK_SEQPACKET);
/// The same, and it listens.
TCFileDescriptor ListenAt(std::string const& Path, int Type = SOCK_SEQPACKET);

/// Connects `Socket`; false, with errno set, when nobody listens there.
bool ConnectTo(int Socket, std::string const& Path);
/// A socket that this process has connected. Throws std::system_error.
TCFileDescriptor Connect(std::string const& Path);
/// A socket that is connected to `Path`; its peer sees another process, of the user `User`, which
/// has ended. Without a file and with errno set when that user can not connect.
TCFileDescriptor ConnectAs(std::string const& Path, uid_t User);
