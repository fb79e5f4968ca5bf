#!/usr/bin/env python3
"""virtual_card.py NAME=PORT...: cards for virtual PC/SC readers, one for each reader, that are inserted and pulled.

A reader is the port at which vpcd listens. Each line of the input is a command, "insert NAME" or "remove NAME", and is
answered by the same line once it is carried out; the service itself notices within half a second. At the end of the
input all cards are pulled.

A message of vpcd is a length (16 bits, big-endian) and that many bytes, in both directions. A single byte from the
reader is a control code; only the request for the ATR is answered. Anything longer is a command to the card.

These cards answer no command. A program with another kind of card gives run() a function that makes one.
"""
import socket
import struct
import sys
import threading

GET_ATR = 4


class EmptyCard:
    atr = bytes([0x3B, 0x85, 0x00]) + b"TELVO"  # five historical bytes, T=0

    def reset(self):
        pass

    def answer(self, command):
        return b"\x6d\x00"  # not supported


class Reader:
    def __init__(self, port, make_card):
        self.port = port
        self.make_card = make_card
        self.connection = None

    def insert(self):
        if self.connection is None:
            self.connection = socket.create_connection(("127.0.0.1", self.port), 5)
            self.connection.settimeout(None)
            threading.Thread(target=serve, args=(self.connection, self.make_card()), daemon=True).start()

    def remove(self):
        if self.connection is not None:
            self.connection.shutdown(socket.SHUT_RDWR)
            self.connection.close()
            self.connection = None


def receive(connection, length):
    data = b""
    while len(data) < length:
        part = connection.recv(length - len(data))
        if not part:
            raise EOFError
        data += part
    return data


def serve(connection, card):
    try:
        while True:
            (length,) = struct.unpack(">H", receive(connection, 2))
            message = receive(connection, length)
            if length > 1:
                answer = card.answer(message)
            elif message[0] == GET_ATR:
                answer = card.atr
            else:
                card.reset()  # the power was switched, or the reader reset the card
                continue
            connection.sendall(struct.pack(">H", len(answer)) + answer)
    except (OSError, EOFError):
        pass  # the card was pulled


def run(arguments, make_card):
    readers = {}
    for argument in arguments:
        name, port = argument.split("=")
        readers[name] = Reader(int(port), make_card)
    for line in sys.stdin:
        command, name = line.split()
        {"insert": Reader.insert, "remove": Reader.remove}[command](readers[name])
        print(command, name, flush=True)
    for reader in readers.values():
        reader.remove()


if __name__ == "__main__":
    run(sys.argv[1:], EmptyCard)
