"""The shell as a user types at it: on a terminal of its own, with editing, completion, history and interruption."""

import os
import unittest

import pexpect

from case import BIN, in_chassis

PROMPT = "switch# "
BOUND = 20


class Terminal(unittest.TestCase):
    @in_chassis()
    def test_a_session(self):
        environment = os.environ | {"TERM": "xterm"}
        self.shell = pexpect.spawn(str(BIN / "cush"), encoding="utf-8", timeout=BOUND, env=environment, dimensions=(40, 120))
        self.shell.delaybeforesend = None
        self.addCleanup(self.shell.close, force=True)
        self.shell.expect_exact(PROMPT)
        self.a_question_mark_lists_what_may_stand_next()
        self.a_tabulator_completes_and_then_lists()
        self.a_wrong_line_is_refused_and_the_session_goes_on()
        self.an_interrupted_line_is_forgotten()
        self.earlier_lines_come_back()
        self.a_list_of_vlans_makes_a_context()
        self.an_end_of_file_ends_the_shell()

    def enter(self, line: str, prompt: str = PROMPT) -> str:
        """Types a line. @return the output between the echo of the line and the next prompt"""
        self.shell.send(line + "\r")
        self.shell.expect_exact("\r\n")
        self.shell.expect_exact(prompt)
        return self.shell.before

    def forget_line(self) -> None:
        self.shell.sendintr()
        self.shell.expect_exact("\r\n" + PROMPT)

    def a_question_mark_lists_what_may_stand_next(self) -> None:
        self.shell.send("show c?")
        self.shell.expect(r"cin +\S.*counters +\S")
        self.shell.expect_exact(PROMPT + "show c")
        self.forget_line()

    def a_tabulator_completes_and_then_lists(self) -> None:
        self.shell.send("sh\t\t")
        self.shell.expect(r"running-config +\S")
        self.shell.expect_exact(PROMPT + "show ")
        self.forget_line()

    def a_wrong_line_is_refused_and_the_session_goes_on(self) -> None:
        self.assertIn("nonsense", self.enter("nonsense"))
        self.assertNotIn("nonsense", self.enter("show cin vlans"))

    def an_interrupted_line_is_forgotten(self) -> None:
        self.shell.send("vlan 900 cin")
        self.shell.expect_exact("vlan 900 cin")
        self.forget_line()
        self.assertNotIn("900", self.enter("show running-config"))

    def earlier_lines_come_back(self) -> None:
        self.enter("vlan 100 cin")
        self.enter("no vlan 100 cin")
        self.shell.send("\x1b[A\x1b[A\r")
        self.shell.expect_exact("\r\n" + PROMPT)
        self.assertIn("100", self.enter("show running-config"))

    def a_list_of_vlans_makes_a_context(self) -> None:
        self.enter("vlan 200-201", "switch(vlan 200-201)# ")
        self.enter("cin", "switch(vlan 200-201)# ")
        self.enter("exit")
        self.assertIn("200", self.enter("show running-config"))

    def an_end_of_file_ends_the_shell(self) -> None:
        self.shell.sendeof()
        self.shell.expect(pexpect.EOF)
        self.shell.wait()
        self.assertEqual(self.shell.exitstatus, 0)


if __name__ == "__main__":
    unittest.main()
