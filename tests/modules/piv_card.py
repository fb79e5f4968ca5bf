#!/usr/bin/env python3
"""piv_card.py FOLDER NAME=PORT: a PIV card (NIST SP 800-73) in a virtual PC/SC reader.

FOLDER has its pairs: authentication.pem and management.pem, and their certificates, authentication.crt and management.crt.
The files pin and tries in FOLDER keep the card's PIN and the remaining tries while it is pulled. It has three tries; deleting
the file tries unlocks it.

It supports what a program needs to sign, to decrypt and to change the PIN. Nothing can be written to it.
"""
import os
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "system"))
import virtual_card  # noqa: E402: from the folder that was added above

OK = b"\x90\x00"
WRONG_DATA = b"\x6a\x80"
NOT_FOUND = b"\x6a\x82"
NOT_VERIFIED = b"\x69\x82"
PIN_BLOCKED = b"\x69\x83"
NOT_SUPPORTED = b"\x6d\x00"

APPLICATION = bytes.fromhex("a000000308000010000100")
MOST_TRIES = 3
PIN_REFERENCE = 0x80
CHAINED = 0x10  # bit of the class byte: more of the command follows
RSA_2048 = 0x07
MODULUS_LENGTH = 256


def tlv(tag, value):
    """A BER element; the tag in hex."""
    length = len(value)
    if length < 0x80:
        size = bytes([length])
    elif length < 0x100:
        size = bytes([0x81, length])
    else:
        size = bytes([0x82]) + length.to_bytes(2, "big")
    return bytes.fromhex(tag) + size + value


def elements(data):
    """The elements at one level of BER: (tag, value) pairs. All tags that matter here have one byte."""
    at = 0
    while at < len(data):
        tag, length, at = data[at], data[at + 1], at + 2
        if length & 0x80:
            size = length & 0x7F
            length, at = int.from_bytes(data[at:at + size], "big"), at + size
        yield tag, data[at:at + length]
        at += length


def first(data):
    return next(elements(data))[1]


def openssl(*arguments):
    return subprocess.run(("openssl",) + arguments, check=True, capture_output=True).stdout


class Pair:
    def __init__(self, folder, name):
        path = os.path.join(folder, name)
        key = openssl("rsa", "-in", path + ".pem", "-traditional", "-outform", "DER")
        numbers = [int.from_bytes(value, "big") for _, value in elements(first(key))]
        self.modulus, self.exponent = numbers[1], numbers[3]  # after the version: n, e, d
        self.certificate = openssl("x509", "-in", path + ".crt", "-outform", "DER")

    def apply(self, block):
        """The private operation without padding: it signs and decrypts."""
        return pow(int.from_bytes(block, "big"), self.exponent, self.modulus).to_bytes(MODULUS_LENGTH, "big")


def certificate_object(certificate):
    return tlv("53", tlv("70", certificate) + tlv("71", b"\x00") + tlv("fe", b""))


def card_holder_object():
    agency = bytes.fromhex("d4e739da739ced39ce739d836858210842108421c84210c3eb")
    unique_id = bytes(range(16))
    return tlv("53", tlv("30", agency) + tlv("34", unique_id) + tlv("35", b"20991231") + tlv("3e", b"") + tlv("fe", b""))


class PivCard:
    atr = bytes.fromhex("3b80800101")  # T=0 and T=1, no historical bytes

    def __init__(self, folder):
        self.folder = folder
        authentication, management = Pair(folder, "authentication"), Pair(folder, "management")
        self.pairs = {0x9A: authentication, 0x9D: management}
        self.objects = {
            "7e": tlv("7e", tlv("4f", APPLICATION) + tlv("5f2f", b"\x40\x00")),
            "5fc102": card_holder_object(),
            "5fc105": certificate_object(authentication.certificate),
            "5fc10b": certificate_object(management.certificate),
        }
        self.commands = {
            0x20: self.verify,
            0x24: self.change_pin,
            0x87: self.authenticate,
            0xA4: self.select,
            0xC0: self.get_response,
            0xCB: self.get_data,
            0xF8: lambda p1, p2, body: (7654321).to_bytes(4, "big") + OK,  # serial number: a vendor's command
            0xFD: lambda p1, p2, body: b"\x05\x04\x03" + OK,  # version of the application, likewise
        }
        self.reset()

    def reset(self):
        self.verified, self.chain, self.rest, self.room = False, b"", b"", 256

    def remembered(self, name, default):
        try:
            with open(os.path.join(self.folder, name), "rb") as file:
                return file.read()
        except FileNotFoundError:
            return default

    def remember(self, name, value):
        with open(os.path.join(self.folder, name), "wb") as file:
            file.write(value)

    def tries(self):
        return int(self.remembered("tries", b"%d" % MOST_TRIES))

    def answer_of_tries(self):
        left = self.tries()
        return bytes([0x63, 0xC0 | left]) if left else PIN_BLOCKED

    def answer(self, apdu):
        """The answer to a command."""
        kind, instruction, p1, p2 = apdu[:4]
        length = apdu[4] if len(apdu) > 5 else 0
        body, expected = apdu[5:5 + length], apdu[5 + length:] if length else apdu[4:]
        self.room = expected[-1] or 256 if expected else 256
        if kind & CHAINED:
            self.chain += body
            return OK
        body, self.chain = self.chain + body, b""
        try:
            return self.commands[instruction](p1, p2, body) if instruction in self.commands else NOT_SUPPORTED
        except (IndexError, StopIteration):
            return WRONG_DATA

    def send(self, data):
        """As much of the data as the reader has room for. GET RESPONSE reads the rest."""
        now, self.rest = data[:self.room], data[self.room:]
        return now + (bytes([0x61, min(len(self.rest), 255)]) if self.rest else OK)

    def get_response(self, p1, p2, body):
        return self.send(self.rest)

    def select(self, p1, p2, body):
        if p1 != 4 or not body or not APPLICATION.startswith(body):
            return NOT_FOUND
        return self.send(tlv("61", tlv("4f", APPLICATION[5:]) + tlv("79", tlv("4f", APPLICATION[:5]))))

    def get_data(self, p1, p2, body):
        value = self.objects.get(first(body).hex())
        return self.send(value) if value else NOT_FOUND

    def check_pin(self, padded):
        if not self.tries():
            return PIN_BLOCKED
        if padded.rstrip(b"\xff") == self.remembered("pin", b"123456"):
            self.remember("tries", b"%d" % MOST_TRIES)
            return OK
        self.remember("tries", b"%d" % (self.tries() - 1))
        return self.answer_of_tries()

    def verify(self, p1, p2, body):
        if p1 == 0xFF:
            self.verified = False
            return OK
        if not body:
            return OK if self.verified else self.answer_of_tries()
        result = self.check_pin(body)
        self.verified = result == OK
        return result

    def change_pin(self, p1, p2, body):
        if p2 != PIN_REFERENCE or len(body) != 16:
            return WRONG_DATA
        result = self.check_pin(body[:8])
        if result == OK:
            self.remember("pin", body[8:].rstrip(b"\xff"))
        else:
            self.verified = False
        return result

    def authenticate(self, p1, p2, body):
        if p1 != RSA_2048 or p2 not in self.pairs:
            return WRONG_DATA
        if not self.verified:
            return NOT_VERIFIED
        block = dict(elements(first(body))).get(0x81, b"")
        if len(block) != MODULUS_LENGTH:
            return WRONG_DATA
        return self.send(tlv("7c", tlv("82", self.pairs[p2].apply(block))))


if __name__ == "__main__":
    virtual_card.run(sys.argv[2:], lambda: PivCard(sys.argv[1]))
