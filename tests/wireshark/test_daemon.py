"""The dissector links the same frame before and behind the daemon, and marks frames that have no other side."""

import unittest

from frames import FROM_HOST, PING, TO_HOST, ping
from pcapng import IN, OUT, Packet
from shark import Shark

MILLISECOND = 1_000_000


def before(frame, at, to_amm=True, comments=()):
    return Packet("inb0", TO_HOST + frame, IN, at, comments) if to_amm else Packet("mgmt0", frame, IN, at, comments)


def behind(frame, at, to_amm=True):
    return Packet("mgmt0", frame, OUT, at) if to_amm else Packet("inb0", FROM_HOST + frame, OUT, at)


class Daemon(Shark):
    def pairs(self, packets, *arguments):
        """Number of each frame's pair; 0 if it has none."""
        return [frame.number("tesk.pair") if frame.has("tesk.pair") else 0 for frame in self.dissect(packets, *arguments)]

    def lost(self, packets):
        return [number for number, frame in enumerate(self.dissect(packets), 1) if frame.has("tesk.lost")]

    def test_a_pair_is_linked_both_ways(self):
        for to_amm in (True, False):
            with self.subTest(to_amm=to_amm):
                first, second = self.dissect([before(PING, 0, to_amm), behind(PING, 1_234, to_amm)])
                self.assertEqual((first.show("tesk.pair"), second.show("tesk.pair")), ("2", "1"))
                self.assertEqual((first.show("tesk.side"), second.show("tesk.side")), ("before", "behind"))
                way = "to the AMM" if to_amm else "to the blades"
                self.assertEqual((first.show("tesk.way"), second.show("tesk.way")), (way, way))

    def test_the_time_between_is_exact_and_stands_behind_the_daemon(self):
        first, second = self.dissect([before(PING, 0), behind(PING, 1_234)])
        self.assertFalse(first.has("tesk.time"))
        self.assertEqual(second.show("tesk.time"), "0.000001234")

    def test_board_83s_management_device_is_one_too(self):
        first, second = self.dissect([before(PING, 0), Packet("mgmt1", PING, OUT, 1)])
        self.assertEqual((first.show("tesk.pair"), second.show("tesk.pair")), ("2", "1"))

    def test_frames_of_both_ways_do_not_mix(self):
        self.assertEqual(self.pairs([before(PING, 0), before(PING, 1, to_amm=False), behind(PING, 2, to_amm=False),
                                     behind(PING, 3)]), [4, 3, 2, 1])

    def test_equal_frames_are_linked_in_their_order(self):
        self.assertEqual(self.pairs([before(PING, 0), before(PING, 1), behind(PING, 2), behind(PING, 3)]), [3, 4, 1, 2])

    def test_frames_that_differ_in_one_byte_are_not_linked(self):
        self.assertEqual(self.pairs([before(ping(1), 0), behind(ping(2), 1)]), [0, 0])

    def test_a_wire_is_no_side_of_the_daemon(self):
        frames = self.dissect([before(PING, 0), Packet("amm", PING, OUT, 1), Packet("blade1", PING, IN, 2)])
        self.assertEqual([frame.has("tesk") for frame in frames], [True, False, False])
        self.assertFalse(frames[0].has("tesk.pair"))

    def test_a_frame_without_direction_has_no_side(self):
        self.assertEqual(self.pairs([before(PING, 0), Packet("mgmt0", PING, None, 1)]), [0, 0])

    def test_a_frame_that_a_later_one_overtakes_is_not_seen_behind(self):
        packets = [before(ping(1), 0), before(ping(2), 1), before(ping(3), 2), behind(ping(2), 3)]
        self.assertEqual(self.pairs(packets), [0, 4, 0, 2])
        self.assertEqual(self.lost(packets), [1])

    def test_a_frame_is_not_paired_after_the_longest_time(self):
        packets = [before(PING, 0), before(PING, 501 * MILLISECOND), behind(PING, 502 * MILLISECOND)]
        self.assertEqual(self.pairs(packets), [0, 3, 2])
        self.assertEqual(self.lost(packets), [1])
        self.assertEqual(self.pairs(packets, "-o", "tesk.window:1000"), [3, 0, 1])

    def test_without_the_point_behind_nothing_counts_as_lost(self):
        self.assertEqual(self.lost([before(ping(number), number * 300 * MILLISECOND) for number in range(5)]), [])

    def test_one_pass_links_backwards(self):
        packets = [before(PING, 0), behind(PING, 1)]
        fields = ("-T", "fields", "-e", "tesk.pair")
        self.assertEqual(self.tshark(packets, *fields), "\n1\n")
        self.assertEqual(self.tshark(packets, "-2", *fields), "\n1\n")

    def test_a_dropped_frame_says_why(self):
        (frame,) = self.dissect([Packet("blade1", PING, IN, 0, ("seen by a human", "dropped: vlan_not_allowed"))])
        self.assertEqual(frame.show("tesk.dropped"), "vlan_not_allowed")
        self.assertTrue(frame.has("tesk.dropped.note"))
        self.assertIn("Expert Info (Warning/Sequence): Dropped: vlan_not_allowed",
                      [item.get("showname") for item in frame.items])

    def test_other_comments_are_no_drops(self):
        (frame,) = self.dissect([Packet("blade1", PING, IN, 0, ("was not dropped: fine", "dropped"))])
        self.assertFalse(frame.has("tesk"))

    def test_a_dropped_frame_waits_for_no_pair(self):
        self.assertEqual(self.pairs([before(PING, 0, comments=("dropped: queue full",)), before(PING, 1), behind(PING, 2)]),
                         [0, 3, 2])

    def test_a_frame_dropped_behind_the_daemon_has_its_pair(self):
        refused = behind(PING, 1, to_amm=False)
        refused.comments = ("dropped: blocked",)
        self.assertEqual(self.pairs([before(PING, 0, to_amm=False), refused]), [2, 1])


if __name__ == "__main__":
    unittest.main()
