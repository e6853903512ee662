#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Gets, sets and watches values by speaking the wire protocol itself (docs/protocol.md).

    wire_client.py get NUMBER
    wire_client.py set NUMBER VALUE
    wire_client.py watch [COUNT]

It works on values of the system, which belong to no record and no device.
"""
import array
import mmap
import os
import secrets
import socket
import struct
import sys

HEAD = struct.Struct("<6BHiI5Q")  # of a frame
MAIL = struct.Struct("<iiI")  # signal type, signal name, bytes of the records
HELLO, WELCOME, REFUSED, SUBSCRIBE, MAILS, REQUEST, ANSWER, PUBLISHED, ACKNOWLEDGED = range(1, 10)
PROTOCOL = 1
MAILBOX, CLASS, VERSION = "@mailrouter.property", "property", 2
FIELDS = "isssb"  # number, value, record, device, whether there is a value
OWN_KEPT = 3
FRAME_LIMIT = 1 << 17


def encode(fields, record):
    """One record; None stands for a field that is not assigned."""
    body = struct.pack("<I", sum(1 << place for place, value in enumerate(record) if value is not None))
    for letter, value in zip(fields, record):
        if letter == "i":
            body += struct.pack("<i", value or 0)
        elif letter == "b":
            body += struct.pack("<B", value or 0)
        else:
            text = (value or "").encode("utf-8", "surrogateescape")
            body += struct.pack("<I", len(text)) + text
    return body


def decode(fields, body):
    """All records of a mail."""
    place, records = 0, []
    while place < len(body):
        mask, = struct.unpack_from("<I", body, place)
        place, record = place + 4, []
        for number, letter in enumerate(fields):
            if letter == "i":
                value, = struct.unpack_from("<i", body, place)
                place += 4
            elif letter == "b":
                value, place = body[place] == 1, place + 1
            else:
                size, = struct.unpack_from("<I", body, place)
                value = body[place + 4:place + 4 + size].decode("utf-8", "surrogateescape")
                place += 4 + size
            record.append(value if mask >> number & 1 else None)
        records.append(record)
    return records


class Client:
    """One connection, greeted. Raises RuntimeError when the router or the server refuses."""

    def __init__(self, device=""):
        address = os.environ.get("MAILROUTER_ADDRESS", "unix:path=/run/mailrouter/socket")
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.socket.connect(address[len("unix:path="):])
        self.number = 0
        self.changes = []
        greeting = encode("ss", [secrets.token_hex(16), device])
        self.send(HELLO, "ss", [(0, 0, greeting)], mailbox="", name="", version=PROTOCOL)
        self.wait_for(WELCOME)

    def send(self, kind, fields="", mails=(), mailbox=MAILBOX, name=CLASS, version=VERSION,
             request=0, number=0, epoch=0, sequence=0):
        frame = HEAD.pack(kind, 0, 0, len(mailbox), len(name), len(fields), len(mails), version, 0,
                          request, number, epoch, 0, sequence)
        frame += (mailbox + name + fields).encode()
        for signal_type, signal_name, records in mails:
            frame += MAIL.pack(signal_type, signal_name, len(records)) + records
        self.socket.send(frame)

    def receive(self):
        """The next frame: kind, whose, epoch, sequence, number, and its mails' records."""
        frame, ancillary, _, _ = self.socket.recvmsg(FRAME_LIMIT, socket.CMSG_LEN(4))
        if not frame:
            raise RuntimeError("the router has ended the connection")
        (kind, whose, has_file, mailbox, name, fields, count, _, _, _, number, epoch, _,
         sequence) = HEAD.unpack_from(frame)
        place = HEAD.size + mailbox + name
        letters, place = frame[place:place + fields].decode(), place + fields
        records = []
        for _ in range(count):
            _, _, size = MAIL.unpack_from(frame, place)
            place += MAIL.size
            if has_file:
                body = self.read_file(ancillary, size)
            else:
                body, place = frame[place:place + size], place + size
            records += decode(letters, body)
        return kind, whose, (epoch, sequence), number, records

    @staticmethod
    def read_file(ancillary, size):
        descriptor = array.array("i", ancillary[0][2])[0]
        try:
            with mmap.mmap(descriptor, size, prot=mmap.PROT_READ) as content:
                return content[:]
        finally:
            os.close(descriptor)

    def wait_for(self, wanted):
        while True:
            kind, whose, position, number, records = self.receive()
            if kind == REFUSED:
                raise RuntimeError(records[0][0])
            if kind == PUBLISHED and whose != OWN_KEPT:
                self.changes += [(record[0], record[1]) for record in records if record[0] is not None]
            if kind == wanted:
                return position, number, records

    def get(self, number):
        """The value as text; None when the server holds none that this process may read."""
        self.send(REQUEST, FIELDS, [(1, 2, encode(FIELDS, [number, None, "", "", None]))], request=1)
        _, _, records = self.wait_for(ANSWER)
        return records[0][1] if records[0][4] else None

    def set(self, number, value):
        """Returns when the server has stored the value, or refused it."""
        self.number += 1
        self.send(MAILS, FIELDS, [(2, 3, encode(FIELDS, [number, value, "", "", False]))],
                  number=self.number)
        self.wait_for(ACKNOWLEDGED)

    def subscribe(self):
        """Changes are collected from now on."""
        self.send(SUBSCRIBE, mailbox="")
        self.get(0)  # is answered after the subscription was read

    def next_change(self):
        """(number, value); the value is None where there is none any more."""
        while not self.changes:
            self.wait_for(PUBLISHED)
        return self.changes.pop(0)


def obey(arguments):
    client = Client()
    if arguments[0] == "get":
        print(client.get(int(arguments[1])))
    elif arguments[0] == "set":
        client.set(int(arguments[1]), arguments[2])
        print(client.get(int(arguments[1])))
    else:
        client.subscribe()
        print("watching", flush=True)
        for _ in range(int(arguments[1]) if len(arguments) > 1 else sys.maxsize):
            print(*client.next_change(), flush=True)


def main(arguments):
    if not arguments or len(arguments) < {"get": 2, "set": 3, "watch": 1}.get(arguments[0], sys.maxsize):
        sys.exit(__doc__.strip())
    try:
        obey(arguments)
    except (OSError, RuntimeError, ValueError, struct.error) as error:
        sys.exit(f"wire_client.py: {error}")


if __name__ == "__main__":
    main(sys.argv[1:])
