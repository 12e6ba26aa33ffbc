"""Files in and out, and the examples."""

import os
import pathlib
import random
import subprocess
import sys
import tempfile
import unittest

import fsort

EXAMPLES = pathlib.Path(__file__).resolve().parent.parent / "examples"


class FilesCase(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)

    def written(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path


class Files(FilesCase):
    def test_lines(self):
        source, target = self.written("in", b"b\na\n\xe9\n"), self.folder / "out"
        self.assertIsNone(fsort.sort_file(source, target))
        self.assertEqual(target.read_bytes(), b"a\nb\n\xe9\n")

    def test_several_inputs_and_options(self):
        names = [str(self.written(f"in {i}", b"x;%d\ny;%d\n" % (i, 100 - i))) for i in range(16)]
        fsort.sort_file(names, self.folder / "out", fsort.Key(field=1, numeric=True), delimiter=b";", memory=1 << 20,
                        work_dir=self.folder)
        numbers = [int(line.split(b";")[1]) for line in (self.folder / "out").read_bytes().splitlines()]
        self.assertEqual(numbers, sorted([*range(16), *range(85, 101)]))

    def test_strange_names(self):
        old = os.getcwd()
        os.chdir(self.folder)
        try:
            for name in ("-in", "<x", "(y", "it's", "two  blanks", "#c", b"\xff\xfe".decode("utf-8", "surrogateescape")):
                self.written(name, b"2\n1\n")
                fsort.sort_file(name, name + ".out")
                self.assertEqual((self.folder / (name + ".out")).read_bytes(), b"1\n2\n")
        finally:
            os.chdir(old)
        for name in ("", 'a"b', "a\\b", "a\0b"):
            with self.assertRaises(ValueError):
                fsort.sort_file(name, "out")

    def test_fixed_records(self):
        records = [random.Random(4).randbytes(12) for _ in range(5000)]
        source, target = self.written("in", b"".join(records)), self.folder / "out"
        fsort.sort_file(source, target, record="fixed", record_size=12)
        self.assertEqual(target.read_bytes(), b"".join(sorted(records)))

    def test_variable_records(self):
        texts = [b"pear", b"fig", b"apple" * 60]
        source = self.written("in", b"".join(len(t).to_bytes(2, "big") + t for t in texts))
        fsort.sort_file(source, self.folder / "out", fsort.Key(columns=(2, None)), record="variable",
                        length_field=(0, 1))
        self.assertEqual((self.folder / "out").read_bytes(),
                         b"".join(len(t).to_bytes(2, "big") + t for t in sorted(texts)))

    def test_a_missing_file_is_named(self):
        with self.assertRaisesRegex(fsort.SortError, "no such.txt"):
            fsort.sort_file(self.folder / "no such.txt", self.folder / "out")
        self.assertFalse((self.folder / "out").exists())

    @unittest.skipUnless(os.path.exists("/dev/full"), "needs /dev/full")
    def test_a_full_disk_is_an_error(self):
        with self.assertRaisesRegex(fsort.SortError, "Space exhausted while writing output file"):
            fsort.sort_file(self.written("in", b"b\na\n"), "/dev/full")

    def test_a_command_line_says_how_long_it_took(self):
        source = self.written("in", b"b\na\n")
        said = fsort.run(f'"<{source}" ">{self.folder}/out" -i -k')
        self.assertIn("elapsed time", said)
        self.assertEqual((self.folder / "out").read_bytes(), b"b\na\n")

    def test_a_command_line_without_files_is_refused(self):
        for command in ("-q", "<in", ">out"):
            with self.assertRaisesRegex(ValueError, "names no"):
                fsort.run(command)

    def test_while_an_iterator_rests(self):
        resting = fsort.sort(b"%d" % i for i in range(50_000))
        next(resting)
        fsort.sort_file(self.written("in", b"b\na\n"), self.folder / "out")
        self.assertEqual((self.folder / "out").read_bytes(), b"a\nb\n")
        self.assertEqual(sum(1 for _ in resting), 49_999)


class Examples(FilesCase):
    def run_example(self, name, *arguments):
        return subprocess.run([sys.executable, EXAMPLES / name, *arguments], capture_output=True, check=True,
                              timeout=60).stdout

    def test_words_are_counted(self):
        text = self.written("text", b"to be or not to be\nthat is the question: to be\n")
        out = self.run_example("sort_words.py", text)
        self.assertEqual(out.splitlines()[:3], [b"3\tbe", b"3\tto", b"1\tis"])
        self.assertEqual(len(out.splitlines()), 8)

    def test_a_file_is_sorted(self):
        source, target = self.written("in", b"apple;7\nplum;-3\nquince;100\n"), self.folder / "out"
        out = self.run_example("sort_file.py", source, target)
        self.assertEqual(target.read_bytes(), b"quince;100\napple;7\nplum;-3\n")
        self.assertEqual(out, b"by a field that is not there: status 1\n"
                         b"apple;7\n\nNot enough fields in record\nError detected in fsort call\n")


if __name__ == "__main__":
    unittest.main()
