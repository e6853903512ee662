#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the corpora of frames, of records in memory files and of what a server is sent.

usage: write_corpora.py [FOLDER]

Each file is an input that its fuzzer begins with: sound ones, and some of each kind of damage. Run
it again after a change of the wire, and commit what it writes. FOLDER is the corpora's own.
"""
import pathlib
import struct
import sys

HELLO, WELCOME, REFUSED, SUBSCRIBE, MAILS, REQUEST, ANSWER, PUBLISHED, ACKNOWLEDGED = range(1, 10)
CHANGE = "isssb"
CONTROL = "sssisissssbsibisibbssbssssb"
DEVICE = "00:11:22:33:44:55"
PROPERTY_CLASS = ("property", 2)
CONTROL_CLASS = ("propertycontrol", 1)
MAILBOX = "@mailrouter.property"


def word(value):
    return struct.pack("<I", value & 0xFFFFFFFF)


def text(value):
    value = value if isinstance(value, bytes) else value.encode()
    return word(len(value)) + value


def record(fields, *values, mask=None):
    """The fields that are None are not assigned."""
    values = list(values) + [None] * (len(fields) - len(values))
    assigned = sum(1 << place for place, value in enumerate(values) if value is not None)
    encoded = word(assigned if mask is None else mask)
    for letter, value in zip(fields, values):
        if letter == "i":
            encoded += word(value or 0)
        elif letter == "b":
            encoded += bytes([int(value or 0)])
        else:
            encoded += text(value or "")
    return encoded


def mail(signal_type, signal_name, records):
    return struct.pack("<iiI", signal_type, signal_name, len(records)) + records


def frame(kind, *mails, whose=0, file=0, mailbox="", mail_class=("", 0), fields="", request=0,
          number=0, epoch=0, previous=0, sequence=0, count=None):
    names = [name.encode() for name in (mailbox, mail_class[0], fields)]
    head = struct.pack("<BBBBBBHiIQQQQQ", kind, whose, file, *map(len, names),
                       len(mails) if count is None else count, mail_class[1], 0, request, number,
                       epoch, previous, sequence)
    return head + b"".join(names) + b"".join(mails)


def to_server(kind, *mails, mail_class=PROPERTY_CLASS, fields=CHANGE, **head):
    return frame(kind, *mails, mailbox=MAILBOX, mail_class=mail_class, fields=fields, **head)


def hello(identity="fuzz", version=1):
    return frame(HELLO, mail(0, 0, record("ss", identity, DEVICE)), mail_class=("", version),
                 fields="ss")


def value(number, data, link="", device=""):
    return record(CHANGE, number, data, link, device, 0)


def change(number, *records):
    return to_server(MAILS, mail(2, 3, b"".join(records)), number=number)


def control(**values):
    names = ("transaction time user process program id link mac data former secret text seconds "
             "force limit place last held removed undoes mail refused path device inode size "
             "orphan").split()
    return record(CONTROL, *(values.get(name) for name in names))


def order(number, name, *records):
    return to_server(MAILS, mail(2, name, b"".join(records)), mail_class=CONTROL_CLASS,
                     fields=CONTROL, number=number)


def question(request, name, *records):
    return to_server(REQUEST, mail(1, name, b"".join(records)), mail_class=CONTROL_CLASS,
                     fields=CONTROL, request=request)


ALL_VALUES = to_server(REQUEST, mail(1, 1, record("i", 1)), fields="i", request=1)
ONE_VALUE = to_server(REQUEST, mail(1, 2, record(CHANGE, 1, None, "", "")), request=2)
SUBSCRIPTION = frame(SUBSCRIBE, mail_class=PROPERTY_CLASS)


def frames():
    """A byte with the size of the file beside it, the file, and the frame."""
    one = mail(2, 3, value(1, "on"))
    inputs = {
        "nothing": b"",
        "no_frame": b"\0",
        "short_head": b"\0" + hello()[:40],
        "hello": b"\0" + hello(),
        "welcome": b"\0" + frame(WELCOME, mail_class=("", 1)),
        "refused": b"\0" + frame(REFUSED, mail(0, 0, record("s", "why")), fields="s", request=7),
        "subscribe": b"\0" + frame(SUBSCRIBE, mail_class=PROPERTY_CLASS, epoch=1 << 63, sequence=9),
        "mail": b"\0" + change(1, value(1, "on", "5", DEVICE)),
        "mail_of_two_records": b"\0" + change(1, value(1, "on"), value(2, "off")),
        "mails": b"\0" + to_server(MAILS, one, mail(-1, 5, b""), one, number=1),
        "mails_one_malformed": b"\0" + to_server(MAILS, one, mail(2, 3, b"x"), one, number=1),
        "mails_none": b"\0" + to_server(MAILS, number=1),
        "mails_too_many": b"\0" + to_server(MAILS, *[mail(2, 3, b"")] * 257, number=1),
        "mails_too_few": b"\0" + to_server(MAILS, one, count=0),
        "mails_missing": b"\0" + to_server(MAILS, one, count=2),
        "request": b"\0" + ALL_VALUES,
        "answer": b"\0" + frame(ANSWER, one, mailbox=MAILBOX, mail_class=PROPERTY_CLASS,
                                fields=CHANGE, request=1, number=3, epoch=1 << 63, sequence=4),
        "published": b"\0" + frame(PUBLISHED, one, one, mailbox=MAILBOX, fields=CHANGE,
                                   mail_class=PROPERTY_CLASS, epoch=1 << 63, previous=3, sequence=4),
        "published_own_kept": b"\0" + frame(PUBLISHED, whose=3, mailbox=MAILBOX, number=8,
                                            mail_class=PROPERTY_CLASS, epoch=1 << 63, sequence=4),
        "acknowledged": b"\0" + frame(ACKNOWLEDGED, mailbox=MAILBOX, number=8),
        "unknown_kind": b"\0" + frame(77),
        "unknown_whose": b"\0" + frame(PUBLISHED, whose=4),
        "any_fields": b"\0" + frame(MAILS, mail(2, 3, word(7) + b"i" + word(7) + b"s" + text("x") +
                                                b"b\1"), fields="vvv"),
        "texts_with_zero": b"\0" + hello("fuzz\0\xff"),
        "bytes_behind": b"\0" + change(1, value(1, "on")) + b"x",
        "file_missing": b"\0" + frame(MAILS, mail(2, 3, b""), file=1, fields=CHANGE),
        "size_of_4_gib": b"\0" + frame(MAILS, struct.pack("<iiI", 2, 3, 0xFFFFFFFF), fields=CHANGE),
    }
    for name, content, announced in (("file", value(1, "on"), 1), ("file_malformed", b"mail", 1),
                                     ("file_not_announced", value(1, "on"), 0)):
        inputs[name] = (bytes([len(content)]) + content +
                        frame(MAILS, mail(2, 3, b""), file=announced, fields=CHANGE))
    return inputs


def mail_bodies():
    """The letters of the fields, a zero byte, and the file."""
    changes = CHANGE.encode() + b"\0"
    return {
        "empty": changes,
        "no_letters": b"\0" + word(0),
        "one_value": changes + value(1, "on"),
        "two_values": changes + value(1, "on", "5", DEVICE) + value(2, "off"),
        "request": b"i\0" + record("i", 1),
        "any_fields": b"vvv\0" + word(7) + b"i" + word(7) + b"s" + text("x") + b"b\1",
        "any_field_of_any": b"v\0" + word(1) + b"v" + word(0),
        "assigned_beyond": b"is\0" + record("is", 1, "x", mask=7),
        "bytes_behind": changes + value(1, "on") + b"x",
        "no_utf8": changes + value(1, b"\xff\xfe"),
        "zero_bytes_in_text": changes + value(1, b"a\0b"),
        "boolean_of_two": b"b\0" + word(1) + b"\2",
        "too_long_text": b"s\0" + word(1) + word(0xFFFFFFFF) + b"x",
        "too_many_fields": b"i" * 33 + b"\0" + word(0) * 34,
        "unknown_letter": b"x\0" + word(1),
        "records_of_nothing": b"\0" + word(0) * 5,
    }


def packets(*parts):
    return b"".join(struct.pack("<H", len(part)) + part for part in parts)


def servers():
    sound = value(1, "on", "5", DEVICE)
    held = [order(1, 10, control(seconds=3600), control(id=1, link="", mac="", data="on"))]
    return {
        "empty": b"",
        "empty_packet": packets(b""),
        "hello": packets(hello()),
        "hello_of_another_version": packets(hello(version=2)),
        "greeting_twice": packets(hello(), hello("fuzz again")),
        "before_greeting": packets(change(1, sound), SUBSCRIPTION, ALL_VALUES, hello()),
        "send_one": packets(hello(), change(1, sound)),
        "send_many": packets(hello(), to_server(MAILS, mail(2, 3, sound), mail(2, 3, value(2, "x")),
                                                number=1)),
        "repeat": packets(hello(), change(1, sound), change(1, sound), change(7, sound)),
        "numbers_that_end": packets(hello(), to_server(MAILS, mail(2, 3, sound), mail(2, 3, sound),
                                                       number=(1 << 64) - 1)),
        "no_records": packets(hello(), change(1)),
        "no_owner": packets(hello(), frame(MAILS, mail(2, 3, sound), mailbox="nobody", number=1,
                                           mail_class=PROPERTY_CLASS, fields=CHANGE)),
        "bad_link": packets(hello(), change(1, value(1, "on", "seven"))),
        "bad_device": packets(hello(), change(1, value(1, "on", "", "00:11:22"))),
        "other_fields": packets(hello(), to_server(MAILS, mail(2, 3, record("is", 1, "on")),
                                                   fields="is", number=1)),
        "subscribe": packets(hello(), SUBSCRIPTION, change(1, sound), change(2, value(2, "off"))),
        "subscribe_from_elsewhere": packets(
            hello(), change(1, sound),
            frame(SUBSCRIBE, mail_class=PROPERTY_CLASS, epoch=1, sequence=7)),
        "subscribe_to_all": packets(hello(), SUBSCRIPTION,
                                    frame(SUBSCRIBE, mail_class=CONTROL_CLASS),
                                    frame(SUBSCRIBE, mail_class=("other", 3)), change(1, sound)),
        "requests": packets(hello(), change(1, sound), ALL_VALUES, ONE_VALUE),
        "as_a_router": packets(hello(), frame(ACKNOWLEDGED, mailbox=MAILBOX, number=8),
                               frame(PUBLISHED, mailbox=MAILBOX), frame(WELCOME)),
        "file_missing": packets(hello(), to_server(MAILS, mail(2, 3, b""), file=1, number=1)),
        "control_questions": packets(hello(), *(question(name, name, control(id=1, limit=5))
                                                for name in range(1, 13))),
        "control_history": packets(hello(), change(1, sound), question(1, 2, control(limit=100))),
        "control_explain": packets(hello(), change(1, sound),
                                   question(1, 3, control(id=1, link="5", mac=DEVICE))),
        "control_change": packets(hello(), *held, question(1, 2, control(limit=1)),
                                  question(2, 1, control())),
        "control_confirm": packets(hello(), *held, order(2, 12, control(transaction="1"))),
        "control_undo": packets(hello(), change(1, sound),
                                order(1, 11, control(transaction="1", force=0)),
                                question(1, 2, control(limit=9))),
        "control_reset": packets(hello(), change(1, sound),
                                 order(1, 14, control(id=1, link="5", mac=DEVICE)),
                                 ALL_VALUES),
        "control_change_if": packets(hello(), change(1, sound), order(
            1, 15, control(id=1, link="5", mac=DEVICE, former="on", data="off"))),
        "control_forget": packets(hello(), change(1, sound), question(1, 5, control()),
                                  order(1, 13, control(mac=DEVICE))),
        "control_bad": packets(hello(), order(1, 4711, control()), order(2, 10), order(
            3, 11, control(transaction="none")), order(4, 10, control(seconds=-1), control(id=-7)),
            question(1, 99, control()), question(2, 2)),
    }


def main():
    folder = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent /
                          "corpus")
    for corpus, inputs in (("frame", frames()), ("mail_body", mail_bodies()), ("server", servers())):
        (folder / corpus).mkdir(parents=True, exist_ok=True)
        for name, content in inputs.items():
            (folder / corpus / name).write_bytes(content)


if __name__ == "__main__":
    main()
