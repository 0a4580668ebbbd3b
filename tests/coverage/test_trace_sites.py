"""The check finds the trace sites of a source, and only an assertion proves one."""

import unittest

import trace_sites
from trace_sites import Asserted

ONE = '''\
/* TESK_ERR("in a comment") is none */
namespace {

boolean inner(int number, tesk_place_t place) {
  TESK_ERR_AT(place, "%s: a (%d)\\n", place.function,
              number);
  return false;
}

boolean part(int number, tesk_place_t place = tesk_here()) {
  TESK_ERR_AT(place, "b %d\\n", number);
  return inner(number, place);
}

boolean alone(tesk_place_t place = tesk_here()) {
  TESK_CTRL_AT(place, "alone");
  return true;
}

}  // namespace

void outer() {
  TESK_CTRL("\\n");
  TESK_TRACE_BARE(TESK_TRACE_PKT, "bare");
  part(
      1);
  alone();
}
'''
# The same lines as in the first file.
OTHER = ("\n" * 3 + 'void other() {\n  TESK_ERR("another file");\n' + "\n" * 17 + '  TESK_CTRL("\\n");\n}\n')
MACRO = '#define TESK_ERR(...) tesk_trace(TESK_TRACE_ERR, __func__, __LINE__, __VA_ARGS__)\n'
ALL = [Asserted("error", "outer", 25, "outer: a (7)\\n"), Asserted("error", "outer", 25, "b 7\\n"),
       Asserted("control", "outer", 27, "alone"), Asserted("control", "outer", 23, ""),
       Asserted("packet", "", 0, "bare"), Asserted("error", "other", 5, ""), Asserted("control", "other", 23, "")]


class TraceSites(unittest.TestCase):
    def complaints(self, facts, **sources):
        return trace_sites.complaints(sources or {"tesk/one.cpp": ONE, "tesk/other.cpp": OTHER}, facts)

    def test_are_the_uses_of_the_macros(self):
        self.assertEqual([str(site) for site in trace_sites.sites_of("tesk/one.cpp", ONE)],
                         ['tesk/one.cpp:5 error "%s: a (%d)\\n"', 'tesk/one.cpp:11 error "b %d\\n"',
                          'tesk/one.cpp:16 control "alone"', 'tesk/one.cpp:23 control "\\n"',
                          'tesk/one.cpp:24 packet "bare"'])

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
                     Asserted("error", "outer", 5, ""), Asserted("error", "someone", 5, "")):
            self.assertEqual(len(self.complaints(ALL[:5] + ALL[6:] + [fact])), 1, fact)

    def test_of_a_part_are_proved_by_its_text_on_a_line_that_leads_there(self):
        for fact in (Asserted("error", "outer", 25, "outer: a ()"), Asserted("error", "outer", 25, "c 7\\n"),
                     Asserted("error", "outer", 27, "outer: a (7)\\n"), Asserted("error", "part", 12, "outer: a (7)"),
                     Asserted("error", "other", 25, "outer: a (7)\\n"), Asserted("packet", "outer", 25, "outer: a (7)\\n")):
            self.assertEqual(len(self.complaints(ALL[1:] + [fact])), 1, fact)

    def test_of_a_part_are_proved_by_any_operation_that_it_is_a_part_of(self):
        source = ONE + "\nvoid second() {\n  part(2);\n}\n"
        facts = [Asserted("error", "second", 31, fact.text) for fact in ALL[:2]]
        self.assertEqual(self.complaints(facts + ALL[2:5], **{"tesk/one.cpp": source}), [])

    def test_that_nothing_tells_apart_are_reported(self):
        said = trace_sites.complaints({"tesk/one.cpp": ONE, "tesk/two.cpp": ONE}, [ALL[3]])
        self.assertIn("could be", said[0])


if __name__ == "__main__":
    unittest.main()
