# SPDX-License-Identifier: Apache-2.0
import unittest

import mutants


def changes(text):
    """What the mutants make of a text."""
    return {mutants.apply(text, mutant) for mutant in mutants.mutants_of("a.cpp", text)}


class Places(unittest.TestCase):
    def test_number_gets_both_neighbours(self):
        self.assertEqual(changes("x(0x10U);"), {"x(17U);", "x(15U);"})

    def test_zero_gets_one_neighbour(self):
        self.assertEqual(changes("x(0);"), {"x(1);"})

    def test_comparison_changes_at_its_boundary_and_turns_round(self):
        self.assertEqual(changes("a < b"), {"a <= b", "a >= b"})

    def test_angle_brackets_of_a_template_stay(self):
        self.assertEqual(changes("template <typename T> std::vector<T> a;"), set())

    def test_reference_and_pointer_stay(self):
        self.assertEqual(changes("T& a; T&& b; T* c;"), set())

    def test_condition_is_negated_as_a_whole(self):
        self.assertIn("if (!(a && b(c))) {", changes("if (a && b(c)) {"))

    def test_comments_and_directives_stay(self):
        self.assertEqual(changes("// a < 1\n#include <b1>\n/* 2 */"), set())

    def test_static_assertion_stays(self):
        self.assertEqual(changes("static_assert(sizeof(a) == 48);"), set())

    def test_last_letter_of_a_text_changes(self):
        self.assertEqual(changes('f("min\\n")'), {'f("mio\\n")'})

    def test_statement_goes(self):
        self.assertIn("{\n  b();\n", changes("{\n  a->b();\n  b();\n"))

    def test_second_line_of_a_statement_stays(self):
        self.assertEqual(changes("int a =\n    b();\n"), set())

    def test_rows_go_and_change_places(self):
        rows = "{\n    {a, b},\n    {c, d},\n"
        self.assertEqual(changes(rows),
                         {"{\n    {c, d},\n", "{\n    {a, b},\n", "{\n    {c, d},\n    {a, b},\n"})

    def test_same_change_of_same_line_is_numbered(self):
        found = mutants.mutants_of("a.cpp", "f(1);\nf(1);")
        self.assertEqual([mutant.occurrence for mutant in found if mutant.what == "1 to 2"], [1, 2])


if __name__ == "__main__":
    unittest.main()
