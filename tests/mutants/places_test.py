#!/usr/bin/env python3
"""The changes that scripts/mutants finds in a source."""
import random
import unittest

import places

SOURCE = """#include <map>
#if FLAG == 1
#endif
// a < b: no code
template <typename T>
class Table { Table(); std::map<int, T*> m_rows; const int m_size = 0x0f; };
Table::Table() : m_rows() {
  const std::lock_guard<std::mutex> lock(m_mutex);  // for f()
  if (a < b && !c) g_log->Of(1).WriteLine("\\tx");
  Table other(a);
  return Fail(NTE_FAIL);
}
"""


def lines_after(kind):
    found = places.all_changes([places.Source("src/a/File.cpp", SOURCE), places.Source("src/a/Codes.h", "NTE_FAIL NTE_NO_KEY")])[kind]
    for change in found:
        change.choose(random.Random(1))
    return [change.told()[1] for change in found]


class PlacesTest(unittest.TestCase):
    def test_conditions_change_and_template_brackets_and_comments_stay(self):
        rest = 'g_log->Of(1).WriteLine("\\tx");'
        self.assertEqual([f"if (!(a < b && !c)) {rest}", f"if (a <= b && !c) {rest}", f"if (a < b || !c) {rest}",
                          f"if (a < b && c) {rest}"], lines_after("condition"))

    def test_a_constant_changes_by_one_up_or_down(self):
        head = "class Table { Table(); std::map<int, T*> m_rows; const int m_size ="
        call = "if (a < b && !c) g_log->Of({}).WriteLine(\"\\tx\");"
        self.assertEqual([f"{head} 0x10; }};", f"{head} 0x0E; }};", call.format(2), call.format(0)], lines_after("constant"))

    def test_a_call_is_left_out_and_a_declaration_stays(self):
        self.assertEqual(["if (a < b && !c) ;"], lines_after("call"))

    def test_an_error_code_becomes_another_of_its_family(self):
        self.assertIn("return Fail(NTE_NO_KEY);", lines_after("code"))

    def test_one_character_of_a_string_changes_and_escapes_stay_whole(self):
        (line,) = lines_after("text")
        self.assertRegex(line, r'WriteLine\("\\t[a-wyz]"\)')

    def test_a_lock_is_left_out(self):
        self.assertEqual(["// for f()"], lines_after("lock"))

    def test_a_change_has_the_number_of_its_line(self):
        source = places.Source("File.cpp", SOURCE)
        self.assertEqual([9], [change.line for change in places.calls(source)])

    def test_a_string_for_the_compiler_stays(self):
        source = 'static_assert(kSize == 2, "two of them"); extern "C" void F(); const char* const kText = "text";'
        found = places.all_changes([places.Source("src/a/File.cpp", source)])["text"]
        self.assertEqual(['"text"'], [source[change.begin:change.end] for change in found])

    def test_the_same_seed_makes_the_same_change(self):
        self.assertEqual(lines_after("text"), lines_after("text"))


unittest.main()
