"""Packets that are cut, empty or without direction: the dissector shows what there is, and its script never fails."""

import unittest

from frames import FROM_HOST, PING, TO_HOST
from pcapng import IN, OUT, Packet
from shark import Shark


class OddPackets(Shark):
    def test_a_cut_header_is_shown_as_bytes(self):
        frames = self.dissect([Packet("inb0", TO_HOST[:length], way) for length in range(10) for way in (IN, OUT)])
        for length, frame in enumerate(frames[::2]):
            with self.subTest(length=length):
                self.assertTrue(frame.has("kestrix.cut"))
                self.assertEqual(frame.has("kestrix.header"), length > 0)
                self.assertFalse(any(name.startswith(("kestrix.th", "kestrix.fh", "eth")) for name in frame.names()))

    def test_a_header_alone_is_no_frame(self):
        to_host, from_host = self.dissect([Packet("inb0", TO_HOST, IN), Packet("inb0", FROM_HOST, OUT)])
        self.assertEqual((to_host.show("kestrix.th.vlan"), from_host.show("kestrix.fh.vlan")), ("100", "100"))
        self.assertEqual((to_host.has("eth"), from_host.has("eth")), (False, False))
        self.assertEqual((to_host.has("_ws.malformed"), from_host.has("_ws.malformed")), (False, False))

    def test_a_cut_inner_frame_is_shown_as_far_as_it_goes(self):
        frames = self.dissect([Packet("inb0", TO_HOST + PING[:length], IN) for length in range(1, 60)])
        for length, frame in enumerate(frames, 1):
            with self.subTest(length=length):
                self.assertEqual(frame.show("kestrix.th.vlan"), "100")
                self.assertEqual(frame.has("eth.dst"), length >= 14)
                self.assertEqual(frame.has("vlan.id"), length >= 16)
                self.assertTrue(length >= 14 or frame.has("_ws.malformed"))

    def test_packets_that_the_capture_cut(self):
        frames = self.dissect([Packet("inb0", (TO_HOST + PING)[:length], IN, wire_length=70) for length in range(70)])
        self.assertEqual([frame.has("kestrix.cut") for frame in frames], [True] * 10 + [False] * 60)

    def test_empty_and_tiny_packets_of_every_point(self):
        points = [("mgmt0", IN), ("mgmt0", OUT), ("amm", IN), ("inb0", None)]
        frames = self.dissect([Packet(point, b"\x01" * length, way) for point, way in points for length in range(12)])
        self.assertFalse(any(frame.has("tesk.pair") for frame in frames if frame.number("len") == 0))

    def test_without_direction_the_header_stays_bytes_and_the_frame_is_handed_on(self):
        (frame,) = self.dissect([Packet("inb0", TO_HOST + PING)])
        self.assertEqual(frame.show("kestrix.header"), "00:01:20:40:21:03:00:00:00:00")
        self.assertTrue(frame.has("kestrix.no_direction"))
        self.assertEqual(frame.show("vlan.id"), "100")
        self.assertFalse(any(name.startswith(("kestrix.th", "kestrix.fh")) for name in frame.names()))

    def test_without_direction_a_preference_says_which_header_it_is(self):
        for preference, field in (("To-host", "kestrix.th.vlan"), ("From-host", "kestrix.fh.vlan")):
            header = TO_HOST if preference == "To-host" else FROM_HOST
            (frame,) = self.dissect([Packet("inb0", header + PING)], "-o", f"kestrix.no_direction:{preference}")
            self.assertEqual(frame.show(field), "100")
            self.assertFalse(frame.has("kestrix.no_direction"))


if __name__ == "__main__":
    unittest.main()
