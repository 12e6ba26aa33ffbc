"""Order, keys and records of fsort.sort."""

import pathlib
import random
import subprocess
import sys
import textwrap
import threading
import typing
import unittest

import fsort


def shuffled(count, seed=1):
    lines = [b"%07d line\n" % i for i in range(count)]
    random.Random(seed).shuffle(lines)
    return lines


class Order(unittest.TestCase):
    def test_without_keys_it_is_that_of_sorted(self):
        source = random.Random(2)
        records = [source.randbytes(source.randrange(1, 60)) for _ in range(20000)]
        self.assertEqual(list(fsort.sort(records)), sorted(records))

    def test_every_record_comes_out_when_work_files_are_needed(self):
        lines = shuffled(200_000)
        self.assertEqual(list(fsort.sort(lines, memory="300k")), sorted(lines))

    def test_no_record_gives_no_record(self):
        self.assertEqual(list(fsort.sort([])), [])

    def test_one_record(self):
        self.assertEqual(list(fsort.sort([b"x"])), [b"x"])

    def test_a_line_keeps_its_line_break(self):
        self.assertEqual(list(fsort.sort([b"b\r\n", b"a\n", b"c"])), [b"a\n", b"b\r\n", b"c"])

    def test_unique_drops_only_equal_records(self):
        records = ["é1".encode(), b"b", "é2".encode(), b"b"]
        self.assertEqual(list(fsort.sort(records, unique=True)), [b"b", "é1".encode(), "é2".encode()])

    def test_bytearray_and_memoryview_are_records(self):
        self.assertEqual(list(fsort.sort([bytearray(b"b"), memoryview(b"a")])), [b"a", b"b"])


class Keys(unittest.TestCase):
    def sorted_by(self, records, keys, **options):
        return list(fsort.sort(records, keys, **options))

    def test_numbers_of_a_field_descend(self):
        records = [b"a;9", b"b;100", b"c;-3", b"d;20"]
        key = fsort.Key(field=1, numeric=True, descending=True)
        self.assertEqual(self.sorted_by(records, key, delimiter=";"), [b"b;100", b"d;20", b"a;9", b"c;-3"])

    def test_the_first_key_counts_most(self):
        records = [b"b1", b"a1", b"b0", b"a0"]
        keys = [fsort.Key(columns=1), fsort.Key(columns=(0, 0), descending=True)]
        self.assertEqual(self.sorted_by(records, keys), [b"b0", b"a0", b"b1", b"a1"])

    def test_a_text_is_the_grammar_of_the_command_line(self):
        self.assertEqual(self.sorted_by([b"ab", b"ba"], "-k -c 1"), [b"ba", b"ab"])

    def test_texts_and_keys_mix(self):
        records = [b"1a", b"0b", b"1b"]
        self.assertEqual(self.sorted_by(records, ["-k -c 0", fsort.Key(columns=(1, None), descending=True)]),
                         [b"0b", b"1b", b"1a"])

    def test_nocase_takes_capitals_for_small_letters(self):
        self.assertEqual(self.sorted_by([b"b", b"C", b"A", b"[", b"a"], fsort.Key(order="nocase"), unique=False)[2:],
                         [b"b", b"C", b"["])

    def test_bytes_in_front_are_skipped(self):
        self.assertEqual(self.sorted_by([b"  b", b" c", b"a"], fsort.Key(skip=b" ")), [b"a", b"  b", b" c"])

    def test_blanks_of_a_numeric_key_are_its_own(self):
        keys = [fsort.Key(columns=(0, 1), numeric=True, skip="*"), fsort.Key(columns=(2, 3))]
        self.assertEqual(self.sorted_by([b"*2*b", b"*1*c", b"*2*a"], keys), [b"*1*c", b"*2*a", b"*2*b"])

    def test_a_long_command_line_is_taken(self):
        # The most keys that the table holds, each far longer than needed: 32 times 60 bytes.
        keys = [f"-k 0-64 65-90 -r 97-122 91-96 123-200 201-210 211-255 -c {i}" for i in reversed(range(32))]
        records = [bytes([97 + (i * j) % 26 for j in range(32)]) for i in range(26)]
        expected = sorted(records, key=lambda r: r[::-1])
        self.assertEqual(self.sorted_by(records, keys), expected)

    def test_a_blank_in_a_long_command_line_stays_a_blank(self):
        keys = "-k " + " ".join(f"{i}" for i in range(97, 123)) + " ' ' " + " ".join(f"{i}" for i in range(128, 255))
        self.assertGreater(len(keys), 511)
        self.assertEqual(self.sorted_by([b"a b", b"aab"], keys), [b"aab", b"a b"])

    def test_a_whole_command_line(self):
        self.assertEqual(list(fsort.sort([b"b", b"a"], command="-q -i -k")), [b"b", b"a"])
        with self.assertRaises(ValueError):
            fsort.sort([b"b"], command="-k", unique=True)

    def test_mistakes_are_named(self):
        for make, kind in (
                (lambda: fsort.Key(columns="0-3").arguments(), TypeError),
                (lambda: fsort.Key(field=-1).arguments(), ValueError),
                (lambda: fsort.Key(decimals=2).arguments(), ValueError),
                (lambda: fsort.Key(numeric=True, decimals=0).arguments(), ValueError),
                (lambda: fsort.sort([], keys=[3]), TypeError),
                (lambda: fsort.sort([], delimiter=[256]), ValueError),
                (lambda: fsort.sort([], memory="much"), ValueError),
                (lambda: fsort.sort([], short="mxx"), ValueError)):
            self.assertRaises(kind, make)


class Records(unittest.TestCase):
    def test_a_text_is_refused_with_advice(self):
        with self.assertRaisesRegex(TypeError, "encode"):
            list(fsort.sort(["text"]))

    def test_one_record_is_no_iterable_of_records(self):
        with self.assertRaisesRegex(TypeError, "iterable"):
            fsort.sort(b"abc")

    def test_an_empty_record_is_refused(self):
        with self.assertRaisesRegex(ValueError, "empty"):
            list(fsort.sort([b"a", b""]))

    def test_the_longest_record_is_sorted(self):
        longest = [b"b" * 65530, b"a" * 65530]
        self.assertEqual(list(fsort.sort(longest, memory="4m")), longest[::-1])

    def test_a_longer_record_is_an_error(self):
        with self.assertRaises(fsort.SortError) as caught:
            list(fsort.sort([b"a" * 65531]))
        self.assertEqual(caught.exception.status, 1)
        self.assertTrue(caught.exception.messages)

    def test_millions_of_records_take_no_memory_of_the_interpreter(self):
        program = textwrap.dedent("""
            import resource, fsort
            def peak():
                return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss // 1024
            count, last, before = 0, b"", peak()
            for record in fsort.sort((b"%08d the rest of it\\n" % (i * 7368787 % 2000003) for i in range(2000000)),
                                     memory="8m"):
                assert last < record
                last = record
                count += 1
            print(count, peak() - before)
        """)
        made = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, check=True)
        count, grown_mb = map(int, made.stdout.split())
        self.assertEqual(count, 2_000_000)
        # 54 MB of bytes, 160 MB as objects.
        self.assertLess(grown_mb, 32)


class SortsAtOnce(unittest.TestCase):
    def test_a_sort_is_the_input_of_another(self):
        lines = shuffled(30_000)
        inner = fsort.sort(lines)
        self.assertEqual(list(fsort.sort(inner, fsort.Key(descending=True))), sorted(lines, reverse=True))

    def test_the_input_of_a_sort_runs_a_sort_for_every_record(self):
        def records():
            for i in range(50):
                yield b"".join(fsort.sort([b"b", b"a", b"%02d" % (i * 7 % 50)]))
        self.assertEqual(list(fsort.sort(records())), [b"%02dab" % i for i in range(50)])

    def test_two_iterators_take_turns(self):
        lines, others = shuffled(30_000), shuffled(30_000, seed=5)
        pairs = list(zip(fsort.sort(lines), fsort.sort(others, fsort.Key(descending=True))))
        self.assertEqual(pairs, list(zip(sorted(lines), sorted(others, reverse=True))))

    def test_an_iterator_that_rests_holds_up_nobody(self):
        lines = shuffled(100_000)
        resting = fsort.sort(lines)
        first = next(resting)
        for _ in range(3):
            self.assertEqual(list(fsort.sort(lines)), sorted(lines))
        self.assertEqual([first, *resting], sorted(lines))

    def test_many_threads_sort_at_once(self):
        results = {}

        def work(i):
            lines = shuffled(20_000, seed=i)
            results[i] = list(fsort.sort(fsort.sort(lines), fsort.Key(descending=i % 2 == 1)))

        threads = [threading.Thread(target=work, args=(i,)) for i in range(12)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(60)
        expected = sorted(shuffled(20_000))
        for i in range(12):
            self.assertEqual(results[i], expected[::-1] if i % 2 == 1 else expected)

    def test_many_iterators_rest_at_once(self):
        sorts = [fsort.sort(shuffled(9_000, seed=i)) for i in range(20)]
        self.assertEqual({next(s) for s in sorts}, {b"0000000 line\n"})
        self.assertEqual({next(s) for s in reversed(sorts)}, {b"0000001 line\n"})

    def test_a_sort_cannot_be_its_own_input(self):
        def itself():
            yield b"a"
            yield next(records)
        records = fsort.sort(itself())
        with self.assertRaisesRegex(ValueError, "own input"):
            next(records)


class Hints(unittest.TestCase):
    def test_all_public_names_have_them(self):
        for name in fsort.__all__:
            public = getattr(fsort, name)
            for function in [public] if not isinstance(public, type) else [public.__init__]:
                hints = typing.get_type_hints(function)
                self.assertIn("return", hints, name)
                self.assertGreater(len(hints), 1, name)
        self.assertTrue((pathlib.Path(fsort.__file__).parent / "py.typed").exists())


if __name__ == "__main__":
    unittest.main()
