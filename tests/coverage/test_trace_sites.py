"""The trace sites of a source are found, and only an assertion proves one."""

import unittest

import trace_sites
from trace_sites import Asserted

ONE = '''\
/* TESK_ERR("in a comment") is none */
namespace {

boolean helper(const char *caller, int number) {
  TESK_ERR_AS(caller, "%s: a (%d)\\n", caller,
              number);
  return false;
}

}  // namespace

void outer() {
  TESK_CTRL("\\n");
  TESK_TRACE_BARE(TESK_TRACE_PKT, "bare");
}
'''
# The same lines as in the first file.
OTHER = ("\n" * 3 + 'void other() {\n  TESK_ERR("another file");\n' + "\n" * 7 + '  TESK_CTRL("\\n");\n}\n')
MACRO = '#define TESK_ERR(...) tesk_trace(TESK_TRACE_ERR, __func__, __LINE__, __VA_ARGS__)\n'
ALL = [Asserted("error", "outer", 5, ""), Asserted("control", "outer", 13, ""), Asserted("packet", "", 0, "bare"),
       Asserted("error", "other", 5, ""), Asserted("control", "other", 13, "")]


class TraceSites(unittest.TestCase):
    def complaints(self, facts, **sources):
        return trace_sites.complaints(sources or {"tesk/one.cpp": ONE, "tesk/other.cpp": OTHER}, facts)

    def test_are_the_uses_of_the_macros(self):
        self.assertEqual([str(site) for site in trace_sites.sites_of("tesk/one.cpp", ONE)],
                         ['tesk/one.cpp:5 error "%s: a (%d)\\n"', 'tesk/one.cpp:13 control "\\n"',
                          'tesk/one.cpp:14 packet "bare"'])

    def test_are_not_the_macros_themselves(self):
        self.assertEqual(trace_sites.sites_of("tesk/tesk_dbg.h", MACRO), [])

    def test_reach_to_the_end_of_their_call(self):
        site = trace_sites.sites_of("tesk/one.cpp", ONE)[0]
        self.assertEqual((site.first_line, site.last_line), (5, 6))

    def test_are_all_proved_when_all_are_asserted(self):
        self.assertEqual(self.complaints(ALL), [])

    def test_are_missed_one_by_one(self):
        for absent in range(len(ALL)):
            self.assertEqual(len(self.complaints(ALL[:absent] + ALL[absent + 1:])), 1, ALL[absent])

    def test_are_not_proved_by_another_category_line_or_function(self):
        for fact in (Asserted("control", "other", 5, ""), Asserted("error", "other", 8, ""),
                     Asserted("error", "outer", 7, ""), Asserted("error", "someone", 5, "")):
            self.assertEqual(len(self.complaints(ALL[:3] + ALL[4:] + [fact])), 1, fact)

    def test_that_nothing_tells_apart_are_reported(self):
        said = trace_sites.complaints({"tesk/one.cpp": ONE, "tesk/two.cpp": ONE}, [ALL[1]])
        self.assertIn("could be", said[0])


if __name__ == "__main__":
    unittest.main()
