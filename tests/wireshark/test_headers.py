"""Both ASIC headers: the dissector shows every bit in its field, and every field at its bytes."""

import unittest

from frames import FROM_HOST, PING, TO_HOST
from pcapng import IN, OUT, Packet
from shark import Shark

# The value of the field when only this bit is set, for each bit of a byte, from bit 7 down to bit 0.
TO_HOST_BITS = [
    "reason_code=128 reason_code=64 reason_code=32 reason_code=16 reason_code=8 reason_code=4 reason_code=2 reason_code=1",
    "oup=2 oup=1 plid=16 plid=8 plid=4 plid=2 plid=1 ce=1",
    "tags_exist=4 tags_exist=2 tags_exist=1 rw_type=8 rw_type=4 rw_type=2 rw_type=1 oup=4",
    "ingress_plid=2 ingress_plid=1 tags_exist=256 tags_exist=128 tags_exist=64 tags_exist=32 tags_exist=16 tags_exist=8",
    "vlan=16 vlan=8 vlan=4 vlan=2 vlan=1 ingress_plid=16 ingress_plid=8 ingress_plid=4",
    "iup=1 vlan=2048 vlan=1024 vlan=512 vlan=256 vlan=128 vlan=64 vlan=32",
    "rsvd=8 rsvd=4 rsvd=2 rsvd=1 fc2=1 fcoe=1 iup=4 iup=2",
    "rsvd=2048 rsvd=1024 rsvd=512 rsvd=256 rsvd=128 rsvd=64 rsvd=32 rsvd=16",
    "ts=128 ts=64 ts=32 ts=16 ts=8 ts=4 ts=2 ts=1",
    "ts=32768 ts=16384 ts=8192 ts=4096 ts=2048 ts=1024 ts=512 ts=256",
]
FROM_HOST_BITS = [
    "vlan=32 vlan=16 vlan=8 vlan=4 vlan=2 vlan=1 mc=1 ce=1",
    "ltl=2 ltl=1 vlan=2048 vlan=1024 vlan=512 vlan=256 vlan=128 vlan=64",
    "ltl=512 ltl=256 ltl=128 ltl=64 ltl=32 ltl=16 ltl=8 ltl=4",
    "ltl=131072 ltl=65536 ltl=32768 ltl=16384 ltl=8192 ltl=4096 ltl=2048 ltl=1024",
    "tags_exist=2 tags_exist=1 rsvd2=8 rsvd2=4 rsvd2=2 rsvd2=1 ltl=524288 ltl=262144",
    "up=1 tags_exist=256 tags_exist=128 tags_exist=64 tags_exist=32 tags_exist=16 tags_exist=8 tags_exist=4",
    "rsvd1=4 rsvd1=2 rsvd1=1 diag_pkt=1 fc2=1 fcoe=1 up=4 up=2",
    "rsvd1=1024 rsvd1=512 rsvd1=256 rsvd1=128 rsvd1=64 rsvd1=32 rsvd1=16 rsvd1=8",
    "ts=128 ts=64 ts=32 ts=16 ts=8 ts=4 ts=2 ts=1",
    "ts=32768 ts=16384 ts=8192 ts=4096 ts=2048 ts=1024 ts=512 ts=256",
]
# The largest value of each field.
TO_HOST_FULL = {"reason_code": 255, "oup": 7, "plid": 31, "ce": 1, "tags_exist": 511, "rw_type": 15, "ingress_plid": 31,
                "vlan": 4095, "iup": 7, "rsvd": 4095, "fc2": 1, "fcoe": 1, "ts": 65535}
FROM_HOST_FULL = {"vlan": 4095, "mc": 1, "ce": 1, "ltl": 1048575, "tags_exist": 511, "rsvd2": 15, "up": 7,
                  "rsvd1": 2047, "diag_pkt": 1, "fc2": 1, "fcoe": 1, "ts": 65535}
# Where each field is highlighted: first byte and number of bytes. A piece is in one byte.
TO_HOST_PLACES = {
    "reason_code": (0, 1), "oup": (1, 2), "oup_0_1": (1, 1), "oup_2": (2, 1), "plid": (1, 1), "ce": (1, 1),
    "tags_exist": (2, 2), "tags_exist_0_2": (2, 1), "tags_exist_3_8": (3, 1), "rw_type": (2, 1),
    "ingress_plid": (3, 2), "ingress_plid_0_1": (3, 1), "ingress_plid_2_4": (4, 1),
    "vlan": (4, 2), "vlan_0_4": (4, 1), "vlan_5_11": (5, 1), "iup": (5, 2), "iup_0": (5, 1), "iup_1_2": (6, 1),
    "rsvd": (6, 2), "rsvd_0_3": (6, 1), "rsvd_4_11": (7, 1), "fc2": (6, 1), "fcoe": (6, 1),
    "ts": (8, 2), "ts_0_7": (8, 1), "ts_8_15": (9, 1),
}
FROM_HOST_PLACES = {
    "vlan": (0, 2), "vlan_0_5": (0, 1), "vlan_6_11": (1, 1), "mc": (0, 1), "ce": (0, 1),
    "ltl": (1, 4), "ltl_0_1": (1, 1), "ltl_2_9": (2, 1), "ltl_10_17": (3, 1), "ltl_18_19": (4, 1),
    "tags_exist": (4, 2), "tags_exist_0_1": (4, 1), "tags_exist_2_8": (5, 1), "rsvd2": (4, 1),
    "up": (5, 2), "up_0": (5, 1), "up_1_2": (6, 1), "rsvd1": (6, 2), "rsvd1_0_2": (6, 1), "rsvd1_3_10": (7, 1),
    "diag_pkt": (6, 1), "fc2": (6, 1), "fcoe": (6, 1), "ts": (8, 2), "ts_0_7": (8, 1), "ts_8_15": (9, 1),
}
# The pieces of some fields, each with one value, as the details pane shows them.
TO_HOST_PIECES = {"vlan": "VLAN: 100", "vlan_0_4": "0010 0... = VLAN, bits 0-4: 4",
                  "vlan_5_11": ".000 0011 = VLAN, bits 5-11: 3", "ingress_plid": "Ingress port id: 5",
                  "ingress_plid_0_1": "01.. .... = Ingress port id, bits 0-1: 1",
                  "ingress_plid_2_4": ".... .001 = Ingress port id, bits 2-4: 1"}
FROM_HOST_PIECES = {"vlan": "VLAN: 100", "vlan_0_5": "1001 00.. = VLAN, bits 0-5: 36",
                    "vlan_6_11": "..00 0001 = VLAN, bits 6-11: 1", "ltl": "LTL: 0x000020",
                    "ltl_2_9": "0000 1000 = LTL, bits 2-9: 8", "up_0": "0... .... = up, bit 0: 0"}


def one_bit(bit: int) -> bytes:
    """A header in which one bit is set; bit 0 is the highest bit of the first byte."""
    header = bytearray(10)
    header[bit // 8] = 0x80 >> bit % 8
    return bytes(header)


class Headers(Shark):
    def fields_of(self, frame, prefix, names):
        return {name: frame.number(f"{prefix}.{name}") for name in names}

    def every_bit(self, prefix, direction, table, full):
        expected = [bit for byte in table for bit in byte.split()]
        self.assertEqual(len(expected), 80)
        frames = self.dissect([Packet("inb0", one_bit(bit) + PING, direction) for bit in range(80)])
        for bit, frame in enumerate(frames):
            name, value = expected[bit].split("=")
            with self.subTest(byte=bit // 8, bit=7 - bit % 8):
                self.assertEqual(self.fields_of(frame, prefix, full), {**dict.fromkeys(full, 0), name: int(value)})

    def test_every_bit_to_the_host(self):
        self.every_bit("kestrix.th", IN, TO_HOST_BITS, TO_HOST_FULL)

    def test_every_bit_from_the_host(self):
        self.every_bit("kestrix.fh", OUT, FROM_HOST_BITS, FROM_HOST_FULL)

    def test_all_bits_set(self):
        to_host, from_host = self.dissect([Packet("inb0", b"\xff" * 10 + PING, way) for way in (IN, OUT)])
        self.assertEqual(self.fields_of(to_host, "kestrix.th", TO_HOST_FULL), TO_HOST_FULL)
        self.assertEqual(self.fields_of(from_host, "kestrix.fh", FROM_HOST_FULL), FROM_HOST_FULL)

    def test_each_field_and_piece_is_highlighted_where_it_lies_and_there_are_no_others(self):
        to_host, from_host = self.dissect([Packet("inb0", TO_HOST + PING, IN), Packet("inb0", FROM_HOST + PING, OUT)])
        for frame, prefix, places in ((to_host, "kestrix.th.", TO_HOST_PLACES), (from_host, "kestrix.fh.", FROM_HOST_PLACES)):
            shown = [name for name in frame.names() if name.startswith("kestrix.") and name != "kestrix.ports"]
            self.assertEqual({name: frame.place(name) for name in shown},
                             {prefix + name: place for name, place in places.items()})

    def test_pieces_show_their_bits(self):
        to_host, from_host = self.dissect([Packet("inb0", TO_HOST + PING, IN), Packet("inb0", FROM_HOST + PING, OUT)])
        self.assertEqual({name: to_host.line(f"kestrix.th.{name}") for name in TO_HOST_PIECES}, TO_HOST_PIECES)
        self.assertEqual({name: from_host.line(f"kestrix.fh.{name}") for name in FROM_HOST_PIECES}, FROM_HOST_PIECES)

    def test_the_ports_in_words(self):
        headers = {
            "00 01 20 40 21 03 00 00 00 00": (IN, "from 5"),
            "91 01 08 00 40 00 00 00 00 00": (OUT, "to 5"),
            "93 c1 83 03 43 00 00 00 00 00": (OUT, "to 0-3, 9-11, 18-19 (flood)"),
            "91 01 00 00 40 00 00 00 00 00": (OUT, "to none"),
        }
        frames = self.dissect([Packet("inb0", bytes.fromhex(header) + PING, way) for header, (way, _) in headers.items()])
        self.assertEqual([frame.show("kestrix.ports") for frame in frames], [text for _, text in headers.values()])

    def test_the_inner_frame_is_ethernets(self):
        for frame in self.dissect([Packet("inb0", TO_HOST + PING, IN), Packet("inb0", FROM_HOST + PING, OUT)]):
            self.assertEqual(frame.protocols()[-6:], ["kestrix", "eth", "vlan", "ip", "icmp", "tesk"])
            self.assertEqual(frame.place("eth"), (10, 18 - 4))
            self.assertEqual((frame.show("vlan.id"), frame.show("ip.src"), frame.show("icmp.type")), ("100", "10.0.100.11", "8"))

    def test_a_filter_finds_a_field_though_the_tree_is_not_shown(self):
        packets = [Packet("inb0", TO_HOST + PING, IN), Packet("inb0", FROM_HOST + PING, OUT)]
        self.assertEqual(len(self.tshark(packets, "-Y", "kestrix.th.ingress_plid == 5").splitlines()), 1)
        self.assertEqual(len(self.tshark(packets, "-Y", "kestrix.fh.vlan_0_5 == 36").splitlines()), 1)
        self.assertEqual(len(self.tshark(packets, "-Y", "kestrix.ports == \"to 5\"").splitlines()), 1)


if __name__ == "__main__":
    unittest.main()
