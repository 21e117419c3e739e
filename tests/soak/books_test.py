#!/usr/bin/env python3
"""Whether the books of a long session notice what does not balance."""
import sys
import unittest

sys.dont_write_bytecode = True  # leaves nothing in the source tree

from books import Books, Crash, Sample, growth, report_name


def name(pid):
    return f"CrashReport_{pid}_host_user_1.json"


def balanced():
    books = Books()
    books.crashes = [Crash(1, "abort"), Crash(2, "quit")]
    books.delivered = [name(1)]
    books.filed = [name(1) + ".send_success", name(2) + ".send_fail"]
    return books


class BooksTest(unittest.TestCase):
    def expect(self, books, *parts):
        found = books.problems()
        self.assertEqual(len(found), len(parts), found)
        for problem, part in zip(found, parts):
            self.assertIn(part, problem)

    def test_balance_when_each_crash_is_delivered_or_filed_as_failed(self):
        self.expect(balanced())
        self.assertEqual(balanced().failed(), [name(2)])

    def test_a_crash_without_a_report_is_named(self):
        books = balanced()
        books.crashes.append(Crash(3, "null-write"))
        self.expect(books, "process 3 (null-write) has no report")

    def test_an_id_used_again_needs_a_report_each_time(self):
        books = balanced()
        books.crashes.append(Crash(2, "abort"))
        self.expect(books, "process 2 (quit, abort) has no report")

    def test_a_second_report_of_a_crash_is_named(self):
        books = balanced()
        books.filed.append(name("1_b") + ".send_fail")
        self.expect(books, "has several reports")

    def test_a_report_of_nobody_is_named(self):
        books = balanced()
        books.filed.append(name(9) + ".send_fail")
        self.expect(books, "of no process that crashed")

    def test_delivered_twice_is_allowed_only_where_a_reporter_was_killed(self):
        books = balanced()
        books.delivered.append(name(1))
        self.assertEqual(books.twice(), [name(1)])
        self.expect(books, "delivered twice")
        books.cut = {name(1)}
        self.expect(books)

    def test_filed_as_sent_but_not_at_the_server_is_named(self):
        books = balanced()
        books.filed[1] = name(2) + ".send_success"
        self.expect(books, "not at the server")

    def test_filed_as_failed_but_at_the_server_is_named(self):
        books = balanced()
        books.delivered.append(name(2))
        self.expect(books, "though at the server")
        books.unsure = {name(2)}
        self.expect(books)

    def test_at_the_server_but_not_filed_is_named(self):
        books = balanced()
        del books.filed[0]
        self.expect(books, "not filed")

    def test_filed_twice_or_in_another_way_is_named(self):
        books = balanced()
        books.filed.append(name(1) + ".send_later")
        self.expect(books, "nobody expects", "filed 2 times")

    def test_what_still_waits_is_named(self):
        books = balanced()
        books.waiting = [name(1)]
        self.expect(books, "left in the crash store")

    def test_stored_and_filed_names_hold_the_reports_name(self):
        self.assertEqual(report_name("20260101-120000.000001-" + name(1)), name(1))
        self.assertEqual(report_name(name(1) + ".send_fail"), name(1))
        self.assertIsNone(report_name("hs_err_pid1.log"))


class GrowthTest(unittest.TestCase):
    def test_a_flat_reporter_has_not_grown(self):
        self.assertEqual(growth([Sample(i, 7, 5000 + i % 3, 9, 1) for i in range(12)]), [])

    def test_descriptors_that_stay_open_are_named(self):
        found = growth([Sample(i, 7, 5000, 9 + i // 3, 1) for i in range(6)])
        self.assertIn("descriptors over the session", found[0])

    def test_memory_that_grows_is_named(self):
        found = growth([Sample(i, 7, 5000 + 400 * i, 9, 1) for i in range(12)])
        self.assertIn("memory over the session", found[0])

    def test_a_reporter_that_nobody_looked_at_is_named(self):
        self.assertEqual(len(growth([])), 1)


if __name__ == "__main__":
    unittest.main()
