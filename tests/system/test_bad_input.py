"""Wrong input causes one sentence on standard error and exit status 1 or 2, and leaves nothing running."""

import os
import subprocess
import unittest

from case import BIN, ROOT, chassis, description, in_chassis
import lab


class BadInput(unittest.TestCase):
    def refused(self, done: subprocess.CompletedProcess, status: int, *words: str) -> None:
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        sentence = done.stderr.strip()
        for word in words:
            self.assertIn(word, sentence)
        self.assertLessEqual(len(sentence.splitlines()), 2, sentence)

    def broken(self, text: str) -> subprocess.CompletedProcess:
        file = description(text)
        self.addCleanup(os.unlink, file)
        return chassis("run", file, "--", "true")

    def test_a_wrong_option(self):
        self.refused(chassis("run", "--wrong"), 2, "--wrong")

    def test_a_wrong_subcommand(self):
        self.refused(chassis("fly"), 2, "fly")

    def test_a_missing_description(self):
        self.refused(chassis("run", "/no/such/file.yaml", "--", "true"), 1, "/no/such/file.yaml")

    def test_a_broken_yaml_file_is_refused_with_its_line(self):
        self.refused(self.broken("board: 82\nports: [\n"), 1, ".yaml:")

    def test_an_unknown_board(self):
        self.refused(self.broken("board: 84\n"), 1, ".yaml:1:", "82", "83")

    def test_a_vlan_out_of_range(self):
        self.refused(self.broken("board: 82\nports:\n  - port: 1\n    blade: blade1\n    vlans: [4096]\n"), 1,
                     ".yaml:5:")

    def test_a_port_that_the_board_does_not_have(self):
        self.refused(self.broken("board: 82\nports:\n  - port: 21\n    blade: blade1\n    vlans: [100]\n"), 1,
                     ".yaml:3:")

    def test_a_command_that_does_not_exist(self):
        done = chassis("run", "--", "/no/such/command")
        self.assertEqual(done.returncode, 127, done.stderr)
        self.assertIn("/no/such/command", done.stderr)

    def test_the_commands_status_is_the_chassis_status(self):
        self.assertEqual(chassis("run", "--", "sh", "-c", "exit 42").returncode, 42)

    def test_a_daemon_that_cannot_be_run(self):
        self.refused(chassis("run", "--daemon", "/no/such/daemon", "--", "true"), 1, "/no/such/daemon")

    def test_outside_a_chassis_there_is_nothing_to_talk_to(self):
        environment = {key: value for key, value in os.environ.items() if key not in ("OPAL_RUN_DIR", "CHASSIS_NAME")}
        environment["CHASSIS_RUN_DIR"] = str(ROOT / "build/system/empty")
        for program in (["cush", "-c", "show cin vlans"], ["chassis", "status"], ["chassis", "event", "save"]):
            with self.subTest(program=program):
                done = subprocess.run([str(BIN / program[0]), *program[1:]], capture_output=True, text=True, timeout=10,
                                      stdin=subprocess.DEVNULL, env=environment)
                self.refused(done, 1, "chassis")

    @in_chassis()
    def test_names_that_do_not_exist(self):
        for words in (["exec", "blade99", "true"], ["event", "link", "down", "blade99"],
                      ["event", "cbl", "block", "1/77", "100"], ["event", "cbl", "block", "blade1", "4096"]):
            with self.subTest(words=words):
                done = lab.run("chassis", *words, check=False)
                self.assertIn(done.returncode, (1, 2))
                self.assertEqual(len(done.stderr.strip().splitlines()), 1, done.stderr)

    @in_chassis()
    def test_the_shell_refuses_wrong_lines(self):
        for line in ("show nonsense", "vlan 5-3 cin", "vlan 4096 cin", "vlan a cin"):
            with self.subTest(line=line):
                done = lab.run("cush", "-c", line, check=False)
                self.assertIn(done.returncode, (1, 2))
                self.assertTrue(done.stderr.strip())
        self.assertEqual(lab.run("cush", "-c", "vlan 4095 cin", check=False).stderr.strip().splitlines()[0][-23:],
                         "Invalid CIN VLAN 4095"[-23:])

    def test_a_second_chassis_of_the_same_name(self):
        inner = f"{BIN}/chassis run --name twice -- true"
        folder = ROOT / "build" / "system"
        first = subprocess.Popen([str(BIN / "chassis"), "run", "--name", "twice", "--", "sh", "-c", "echo up; read line"],
                                 stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                 env=os.environ | {"CHASSIS_RUN_DIR": str(folder)})
        try:
            self.assertEqual(first.stdout.readline().strip(), "up")
            self.refused(chassis("run", "--name", "twice", "--", "true"), 1, "twice")
            self.assertIsNone(first.poll(), "the first chassis must not notice " + inner)
        finally:
            first.communicate("\n", timeout=30)


if __name__ == "__main__":
    unittest.main()
