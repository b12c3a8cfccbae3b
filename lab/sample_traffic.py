#!/usr/bin/env python3
"""The ends of the sample capture that no common program plays: see make_sample_capture.sh."""
import os
import socket
import struct
import sys
import time

NAMES = {  # name: (alias, IPv4, IPv6)
    "www.lab.example": ("web.lab.example", "203.0.113.10", "2001:db8:20::10"),
    "shop.lab.example": (None, "203.0.113.10", "2001:db8:20::10"),
    "files.lab.example": (None, "198.51.100.20", None),
}
TYPE_A, TYPE_CNAME, TYPE_AAAA = 1, 5, 28


def encode_name(name):
    return b"".join(bytes([len(part)]) + part.encode() for part in name.split(".")) + b"\0"


def decode_name(message, at):
    parts = []
    while message[at]:
        parts.append(message[at + 1:at + 1 + message[at]].decode())
        at += 1 + message[at]
    return ".".join(parts), at + 1


def answer(query):
    """The response to one query; names are compressed with pointers."""
    name, at = decode_name(query, 12)
    kind = struct.unpack("!H", query[at:at + 2])[0]
    question = query[12:at + 4]
    if name not in NAMES:
        return query[:2] + struct.pack("!HHHHH", 0x8183, 1, 0, 0, 0) + question
    alias, ipv4, ipv6 = NAMES[name]
    records, owner = [], b"\xc0\x0c"
    if alias:
        head, tail = alias.split(".", 1)
        pointer = 12 + name.index(tail)  # the tail stands in the question
        data = bytes([len(head)]) + head.encode() + struct.pack("!H", 0xC000 | pointer)
        records.append(owner + struct.pack("!HHIH", TYPE_CNAME, 1, 60, len(data)) + data)
        owner = struct.pack("!H", 0xC000 | (12 + len(question) + 12))
    data = None
    if kind == TYPE_A and ipv4:
        data = socket.inet_aton(ipv4)
    elif kind == TYPE_AAAA and ipv6:
        data = socket.inet_pton(socket.AF_INET6, ipv6)
    if data:
        records.append(owner + struct.pack("!HHIH", kind, 1, 60, len(data)) + data)
    return query[:2] + struct.pack("!HHHHH", 0x8180, 1, len(records), 0, 0) + question + b"".join(records)


def serve_dns(address):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sock:
        sock.bind((address, 53))
        while True:
            query, peer = sock.recvfrom(512)
            sock.sendto(answer(query), peer)


def serve_greeting(address, port, greeting):
    """Greets every client and waits for it to leave."""
    with socket.create_server((address, int(port))) as listener:
        while True:
            client, _ = listener.accept()
            with client:
                client.sendall(greeting.encode() + b"\r\n")
                try:
                    while client.recv(4096):
                        pass
                except ConnectionResetError:
                    pass


def checksum(data):
    total = sum(struct.unpack("!%dH" % (len(data) // 2), data))
    total = (total >> 16) + (total & 0xFFFF)
    return ~(total + (total >> 16)) & 0xFFFF


def ping(address, count):
    """Echo requests of 56 bytes; the system checksums those of IPv6."""
    ipv6 = ":" in address
    family, protocol = (socket.AF_INET6, socket.getprotobyname("ipv6-icmp")) if ipv6 else (
        socket.AF_INET, socket.getprotobyname("icmp"))
    with socket.socket(family, socket.SOCK_RAW, protocol) as sock:
        for sequence in range(1, int(count) + 1):
            body = struct.pack("!HH", os.getpid() & 0xFFFF, sequence) + bytes(range(56))
            kind = 128 if ipv6 else 8
            mark = 0 if ipv6 else checksum(struct.pack("!BBH", kind, 0, 0) + body)
            sock.sendto(struct.pack("!BBH", kind, 0, mark) + body, (address, 0))
            time.sleep(0.1)


def abort(address, port):
    """Asks for a file and resets the connection instead of reading it."""
    sock = socket.create_connection((address, int(port)))
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    sock.sendall(b"GET /large.bin HTTP/1.1\r\nHost: files.lab.example\r\nUser-Agent: impatient\r\n\r\n")
    sock.recv(1)
    sock.close()


def netbios_query(address, name):
    encoded = "".join(chr(65 + (ord(c) >> 4)) + chr(65 + (ord(c) & 15)) for c in name.upper().ljust(16))
    query = struct.pack("!HHHHHH", 0x1234, 0x0110, 1, 0, 0, 0) + b"\x20" + encoded.encode() + struct.pack(
        "!BHH", 0, 0x20, 1)
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sock:
        sock.bind(("", 137))
        sock.sendto(query, (address, 137))


def large_datagram(address, port, size):
    """One datagram larger than a frame: it travels in pieces."""
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sock:
        sock.sendto(b"x" * int(size), (address, int(port)))


ROLES = {"dns": serve_dns, "greeting": serve_greeting, "ping": ping, "abort": abort,
         "netbios": netbios_query, "large-datagram": large_datagram}

if __name__ == "__main__":
    ROLES[sys.argv[1]](*sys.argv[2:])
