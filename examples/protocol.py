#!/usr/bin/env python3
"""Talks to a worker by docs/protocol.md alone: builds, solves, leaves, comes back, fetches.

usage: protocol.py HOST:PORT
"""
import pathlib
import socket
import struct
import sys
import time
from collections import namedtuple

ROOT = pathlib.Path(__file__).resolve().parent.parent
NEW_WORKER, RECONNECT = 1, 2
ASYNCHRONOUS = 1
NUMBERS = {"int": ">i", "long": ">q", "double": ">d"}
ELEMENTS = {1: "b", 2: "h", 3: "i", 4: "q", 5: "B", 6: "H", 7: "I", 8: "Q", 9: "f", 10: "d"}
BYTE, INT, LONG, DOUBLE, STRING = 1, 3, 4, 10, 11

Array = namedtuple("Array", "type values")  # handles are kept as the arrays that they came in
ABSENT = Array(0, [])


def read_catalogue():
    """The ids by name, and by id the name and the fields: pairs of a name and a kind."""
    ids, layouts = {}, {}
    for line in open(ROOT / "remote/codec/catalogue.golden"):
        number, name, *words = line.replace(":", "").replace(",", "").split()
        ids[name] = int(number)
        layouts[int(number)] = name, list(zip(words[::2], words[1::2]))
    return ids, layouts


IDS, LAYOUTS = read_catalogue()


def pack(kind, value):
    if kind == "string":
        if value is None:
            return bytes(8)
        text = value.encode() + b"\0"
        return struct.pack(">II", 1, len(text)) + text
    if kind == "array":
        count = len(value.values)
        head = struct.pack(">qi", count, value.type)
        if count == 0:
            return head
        head += struct.pack(">II", 1, count)
        if value.type == STRING:
            return head + b"".join(pack("string", text) for text in value.values)
        return head + struct.pack(f">{count}{ELEMENTS[value.type]}", *value.values)
    return struct.pack(NUMBERS[kind], value)


class Worker:
    def __init__(self, address, worker_id=None):
        self.socket = socket.create_connection(address)
        self.stream = self.socket.makefile("rb")
        if worker_id is None:
            self.socket.sendall(struct.pack(">I", NEW_WORKER))
        else:
            self.socket.sendall(struct.pack(">I", RECONNECT) + worker_id)
        status = self.take(">H")
        if status != 0:
            raise ConnectionError(f"the server refuses with status {status}")
        self.id = self.take(">8s")

    def close(self):
        self.stream.close()
        self.socket.close()

    def take(self, form):
        data = self.stream.read(struct.calcsize(form))
        if len(data) < struct.calcsize(form):
            raise ConnectionError("the worker is gone")
        return struct.unpack(form, data)[0]

    def read(self, kind):
        if kind == "string":
            present, length = self.take(">I"), self.take(">I")
            text = self.take(f">{length}s")
            return text.rstrip(b"\0").decode() if present else None
        if kind == "array":
            return self.read_array()
        if kind == "file":
            return self.read("string"), self.read("array")
        return self.take(NUMBERS[kind])

    def read_array(self):
        total, type = self.take(">q"), self.take(">i")
        values = []
        if type != 0 and total > 0:
            for _ in range(self.take(">I")):
                count = self.take(">I")
                if type == STRING:
                    values += [self.read("string") for _ in range(count)]
                else:
                    values += [self.take(">" + ELEMENTS[type]) for _ in range(count)]
        return Array(type, values)

    def send(self, name, *values):
        _, fields = LAYOUTS[IDS[name]]
        parts = [pack(kind, value) for (_, kind), value in zip(fields, values, strict=True)]
        self.socket.sendall(struct.pack(">I", IDS[name]) + b"".join(parts))

    def receive(self):
        """The next message that is an answer: its name and its fields."""
        while True:
            name, fields = LAYOUTS[self.take(">I")]
            message = {field: self.read(kind) for field, kind in fields}
            if name == "NAK":
                raise RuntimeError(f"request {message['message']} is refused")
            if name not in ("CHANNEL", "INFO", "UNKNOWN"):
                return name, message

    def call(self, request, *values):
        """A synchronous request.  Returns the outputs of its response."""
        self.send(request + "_REQ", *([0, *values] if LAYOUTS[IDS[request + "_REQ"]][1] else []))
        return self.expect(request + "_RES")

    def expect(self, expected):
        name, message = self.receive()
        status = message.pop("status", message.pop("status_p", 0))
        if name != expected or status != 0:
            raise RuntimeError(f"{name} with status {status} instead of {expected}")
        return tuple(message.values())


def show(title, names, x):
    print(title, *(f"{name} = {value:g}" for name, value in zip(names.values, x.values)))


def main(address):
    host, _, port = address.rpartition(":")
    worker = Worker((host, int(port)))
    env, = worker.call("OPENVANTO")
    lp, = worker.call("CREATEPROB", env, "protocol")

    # maximise x + 2y with x + y <= 4, x + 3y <= 6, and neither below zero
    worker.call("COPYLP", env, lp, 2, 2, -1, Array(DOUBLE, [1, 2]), Array(DOUBLE, [4, 6]),
                Array(BYTE, b"LL"), Array(LONG, [0, 2]), Array(INT, [2, 2]),
                Array(INT, [0, 1, 0, 1]), Array(DOUBLE, [1, 1, 1, 3]), Array(DOUBLE, [0, 0]),
                Array(DOUBLE, [1e20, 1e20]), ABSENT)
    worker.call("CHGCOLNAME", env, lp, 2, Array(INT, [0, 1]), Array(STRING, ["x", "y"]))
    names, _ = worker.call("GETCOLNAME", env, lp, 100, 0, 1)
    worker.call("LPOPT", env, lp)
    x, = worker.call("GETX", env, lp, 0, 1)
    show("solved:", names, x)

    # The same with another objective; no client is connected while the worker solves.
    worker.call("CHGOBJ", env, lp, 2, Array(INT, [0, 1]), Array(DOUBLE, [1, 4]))
    worker.send("LPOPT_REQ", ASYNCHRONOUS, env, lp)
    worker.expect("ACK")
    worker.call("DISCONNECT")
    worker.close()
    worker = Worker((host, int(port)), worker.id)
    worker.call("RECONNECT")
    while worker.call("ASYNCTEST") != (0,):
        time.sleep(0.01)
    worker.send("GETRES", IDS["LPOPT_REQ"], 0)
    worker.expect("LPOPT_RES")
    x, = worker.call("GETX", env, lp, 0, 1)
    show("solved while away:", names, x)

    worker.call("CLOSEVANTO", env)
    worker.send("TERMINATE")
    worker.close()


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
