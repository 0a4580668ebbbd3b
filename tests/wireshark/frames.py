"""Ethernet frames and ASIC headers for the tests, in hex."""

# 02:00:00:00:00:02 to 02:00:00:00:00:01, VLAN 100, IPv4 10.0.100.11 to 10.0.100.1, an echo request.
PING = bytes.fromhex("020000000001 020000000002 8100 0064 0800"
                     "4500 001c 0001 0000 40 01 0000 0a00640b 0a006401"
                     "0800 f7fd 0001 0001").ljust(60, b"\0")
# CE, tags-present bit 0, ingress port 5, VLAN 100
TO_HOST = bytes.fromhex("00 01 20 40 21 03 00 00 00 00")
# VLAN 100, CE, LTL 0x00020, tags-present bit 0
FROM_HOST = bytes.fromhex("91 01 08 00 40 00 00 00 00 00")


def ping(number: int) -> bytes:
    """Pings that differ by number."""
    return PING[:-1] + bytes([number])
