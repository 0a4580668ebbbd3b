"""The check finds the calls in a disassembly, and requires that each is seen to succeed and to fail, or is exempt."""

import unittest

import call_sites
from call_sites import Call, Exemption, Site

DISASSEMBLY = '''\
0000000000401000 <_Z3onev>:
  401000:\tpush   %rbp
  401001:\tcall   402000 <__wrap_read>
  401006:\tcall   402100 <kvs_open>
  40100b:\tcall   402200 <strlen>
  401010:\tcall   402300 <__wrap__Z3twov>
  401015:\tcall   *%rdx
  401017:\tcall   402400 <__wrap_exit>

0000000000401020 <_Z3twov>:
  401020:\tret
'''
HEADER = '''\
typedef uint32_t kvs_service_t;
static inline int helper(int a) {
  return a;
}
kvs_service_t kvs_open(const char *uri, rcode_t *rcode);
/** Says (something). */
const char *name_get(uint32_t opcode);
int long_one(int a,
             int b);
'''
READ = Site("tesk/one.cpp", 10, "one", "read", 1)


class CallSites(unittest.TestCase):
    def test_are_calls_of_operations_and_through_pointers(self):
        found = list(call_sites.calls_in(DISASSEMBLY.splitlines(), {"kvs_open"}))
        self.assertEqual(found, [Call(0x401001, 0x401006, "_Z3onev", "read"),
                                 Call(0x401006, 0x40100b, "_Z3onev", "kvs_open"),
                                 Call(0x401015, 0x401017, "_Z3onev", ""),
                                 Call(0x401017, 0x401020, "_Z3onev", "exit")])

    def test_call_what_the_headers_declare(self):
        self.assertEqual(call_sites.operations_of([HEADER]), {"kvs_open", "name_get", "long_one"})

    def test_are_named_without_arguments(self):
        for name in ("one(int)", "(anonymous namespace)::one(int)", "void one<text<4ul>{char [4]{(char)37}}, int>(int)"):
            self.assertEqual(call_sites.plain_name(name), "one")

    def test_need_both_outcomes(self):
        for outcomes, missing in ((set(), 1), ({"succeeded"}, 1), ({"failed"}, 1), ({"succeeded", "failed"}, 0),
                                  ({"called"}, 0)):
            self.assertEqual(len(call_sites.complaints({READ: outcomes}, [], [])), missing, outcomes)

    def test_may_be_exempt(self):
        exempt = Exemption("tesk/one.cpp", "one", "read", "failed", "no reason")
        self.assertEqual(call_sites.complaints({READ: {"succeeded"}}, [], [exempt]), [])

    def test_may_not_be_exempt_without_need(self):
        exempt = Exemption("tesk/one.cpp", "one", "read", "failed", "no reason")
        self.assertIn("not needed", call_sites.complaints({READ: {"succeeded", "failed"}}, [], [exempt])[0])

    def test_through_a_pointer_become_sites_of_what_was_called(self):
        pointer = Site("tesk/one.cpp", 12, "one", "", 1)
        seen = call_sites.seen_at({7: pointer, 9: READ}, [("kvs_open", 7, "failed"), ("read", 9, "succeeded"),
                                                          ("read", 11, "failed")])
        self.assertEqual(seen, {Site("tesk/one.cpp", 12, "one", "kvs_open", 1): {"failed"}, READ: {"succeeded"}})

    def test_through_a_pointer_are_missed_where_its_address_is_taken(self):
        self.assertEqual(len(call_sites.complaints({READ: {"called"}}, [("tesk/one.cpp", "kvs_open")], [])), 1)

    def test_have_exemptions_with_a_reason(self):
        text = "# a comment\ntesk/one.cpp one read failed it cannot\n"
        self.assertEqual(call_sites.exemptions_in(text), [Exemption("tesk/one.cpp", "one", "read", "failed", "it cannot")])
        for bad in ("tesk/one.cpp one read failed\n", "tesk/one.cpp one read never it cannot\n"):
            self.assertRaises(SystemExit, call_sites.exemptions_in, bad)


if __name__ == "__main__":
    unittest.main()
