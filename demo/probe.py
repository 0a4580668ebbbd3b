"""Sends one raw Ethernet frame from the namespace it runs in; a capture recognises it by its length.

usage: probe.py INTERFACE DESTINATION LENGTH

The frame's EtherType is 0x88b5, which is reserved for local experiments; its source is the interface's own address.
"""

import socket
import sys


def main() -> None:
    interface, destination, length = sys.argv[1], sys.argv[2], int(sys.argv[3])
    with socket.socket(socket.AF_PACKET, socket.SOCK_RAW) as wire:
        wire.bind((interface, 0))
        source = wire.getsockname()[4]
        header = bytes.fromhex(destination.replace(":", "")) + source + b"\x88\xb5"
        wire.send(header.ljust(length, b"."))


if __name__ == "__main__":
    main()
