"""How a sort ends before its time: errors, exceptions, interrupts, iterators that nobody wants any more."""

import gc
import os
import pathlib
import pickle
import signal
import subprocess
import sys
import tempfile
import textwrap
import threading
import time
import unittest

import fsort

# Far longer than a stop may take, far shorter than the sorts that are stopped.
PROMPT_SECONDS = 5


def sorting_threads():
    return [t for t in threading.enumerate() if t.name == "fsort"]


class Errors(unittest.TestCase):
    def test_a_mistake_in_the_keys_carries_the_messages(self):
        with self.assertRaises(fsort.SortError) as caught:
            list(fsort.sort([b"a"], "-zz"))
        self.assertEqual(caught.exception.messages,
                         ("-zz is an invalid argument\n", "Error detected in fsort initialization\n"))
        self.assertIn("-zz is an invalid argument", str(caught.exception))

    def test_messages_are_not_cut(self):
        wrong = " ".join(f"-wrong{i}" for i in range(50))
        with self.assertRaises(fsort.SortError) as caught:
            list(fsort.sort([b"a"], options=wrong))
        self.assertIn("-wrong49", str(caught.exception))

    def test_a_record_without_the_field_is_an_error(self):
        with self.assertRaisesRegex(fsort.SortError, "Not enough fields in record"):
            list(fsort.sort([b"a;b", b"c"], fsort.Key(field=1), delimiter=";"))
        self.assertEqual(list(fsort.sort([b"a;b", b"c"], fsort.Key(field=1), delimiter=";", short="mfr")),
                         [b"c", b"a;b"])

    def test_an_error_can_be_pickled(self):
        error = fsort.SortError(1, ["one\n", "two\n"])
        copy = pickle.loads(pickle.dumps(error))
        self.assertEqual((copy.status, copy.messages, str(copy)), (1, ("one\n", "two\n"), "one\ntwo"))

    def test_after_an_error_the_iterator_is_at_its_end(self):
        records = fsort.sort([b"a"], "-zz")
        self.assertRaises(fsort.SortError, next, records)
        self.assertRaises(StopIteration, next, records)
        self.assertEqual(sorting_threads(), [])


class ExceptionsOfTheIterable(unittest.TestCase):
    def test_the_same_object_comes_out(self):
        thrown = KeyError("mine")

        def records():
            for i in range(100_000):
                if i == 70_000:
                    raise thrown
                yield b"%d" % i

        with self.assertRaises(KeyError) as caught:
            list(fsort.sort(records(), memory="300k"))
        self.assertIs(caught.exception, thrown)
        self.assertEqual(sorting_threads(), [])

    def test_of_an_inner_sort(self):
        with self.assertRaisesRegex(fsort.SortError, "-zz"):
            list(fsort.sort(fsort.sort([b"a"], "-zz")))
        self.assertEqual(list(fsort.sort([b"a"])), [b"a"])


class Abandoned(unittest.TestCase):
    def assert_ended(self, folder):
        self.assertEqual(sorting_threads(), [])
        self.assertEqual(os.listdir(folder), [])

    def test_closing_ends_the_sort(self):
        with tempfile.TemporaryDirectory() as folder:
            records = fsort.sort((b"%d" % i for i in range(300_000)), memory="300k", work_dir=folder)
            next(records)
            self.assertNotEqual(os.listdir(folder), [])
            records.close()
            self.assert_ended(folder)
            self.assertEqual(list(records), [])
            records.close()

    def test_a_with_statement_ends_the_sort(self):
        with tempfile.TemporaryDirectory() as folder:
            with fsort.sort((b"%d" % i for i in range(300_000)), memory="300k", work_dir=folder) as records:
                next(records)
            self.assert_ended(folder)

    def test_collection_ends_the_sort(self):
        with tempfile.TemporaryDirectory() as folder:
            for record in fsort.sort((b"%d" % i for i in range(300_000)), memory="300k", work_dir=folder):
                break
            self.assert_ended(folder)

    def test_collection_in_a_circle_ends_the_sort(self):
        with tempfile.TemporaryDirectory() as folder:
            records = fsort.sort((b"%d" % i for i in range(300_000)), memory="300k", work_dir=folder)
            next(records)
            records.circle = records
            del records
            gc.collect()
            self.assert_ended(folder)

    def test_one_that_was_never_begun_has_no_thread(self):
        records = fsort.sort([b"a"])
        self.assertEqual(sorting_threads(), [])
        records.close()
        self.assertEqual(list(records), [])

    def test_hundreds_leave_nothing(self):
        files = len(os.listdir("/proc/self/fd"))
        for i in range(300):
            records = fsort.sort(b"%d" % j for j in range(1 + i * 40))
            next(records)
            if i % 2:
                records.close()
            del records
        self.assertEqual(sorting_threads(), [])
        self.assertEqual(len(os.listdir("/proc/self/fd")), files)

    def test_the_program_ends_though_an_iterator_is_open(self):
        program = "import fsort\nrecords = fsort.sort(b'%d' % i for i in range(100000))\nprint(next(records))\n"
        made = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=30)
        self.assertEqual((made.returncode, made.stdout, made.stderr), (0, "b'0'\n", ""))


@unittest.skipIf(os.name == "nt", "there is no SIGINT to send")
class Interrupts(unittest.TestCase):
    def interrupted(self, body):
        """Runs the program until a work file is there, interrupts it; returns (result, seconds it took)."""
        with tempfile.TemporaryDirectory() as folder:
            program = "import fsort, sys, threading\nfolder = sys.argv[1]\n" + textwrap.dedent(body)
            # A shell has its background jobs ignore the signal, and what they start inherits that.
            process = subprocess.Popen([sys.executable, "-c", program, folder], stdout=subprocess.PIPE,
                                       stderr=subprocess.PIPE, text=True,
                                       preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
            self.addCleanup(process.kill)
            limit = time.monotonic() + 30
            while not any(p.name.startswith("wk") for p in pathlib.Path(folder).iterdir()):
                self.assertIsNone(process.poll(), process.stderr.read() if process.poll() is not None else "")
                self.assertLess(time.monotonic(), limit)
                time.sleep(0.02)
            process.send_signal(signal.SIGINT)
            t0 = time.monotonic()
            out, err = process.communicate(timeout=30)
            left = [p.name for p in pathlib.Path(folder).iterdir() if p.name.startswith("wk")]
            self.assertEqual(left, [])
            return process.returncode, out, err, time.monotonic() - t0

    def test_while_records_are_taken(self):
        status, out, err, took = self.interrupted("""
            def endless():
                i = 0
                while True:
                    i = (i + 7368787) % 2000003
                    yield b"%08d" % i
            try:
                next(fsort.sort(endless(), memory="300k", work_dir=folder))
            except KeyboardInterrupt:
                print("interrupted", [t.name for t in threading.enumerate() if t.name == "fsort"])
        """)
        self.assertEqual((status, out, err), (0, "interrupted []\n", ""))
        self.assertLess(took, PROMPT_SECONDS)

    def test_while_files_are_sorted(self):
        # Endless, so that nothing but the interrupt can end the sort.
        status, out, err, took = self.interrupted("""
            try:
                fsort.sort_file("/dev/urandom", folder + "/out", record="fixed", record_size=8, memory="300k",
                                work_dir=folder)
            except KeyboardInterrupt:
                print("interrupted", [t.name for t in threading.enumerate() if t.name == "fsort"])
        """)
        self.assertEqual((status, out, err), (0, "interrupted []\n", ""))
        self.assertLess(took, PROMPT_SECONDS)

    def test_while_another_thread_sorts(self):
        status, out, err, took = self.interrupted("""
            import time
            def endless():
                while True:
                    yield b"x" * 100
            def work():
                try:
                    for record in fsort.sort(endless(), memory="300k", work_dir=folder):
                        pass
                except BaseException as error:
                    print(repr(error))
            try:
                threading.Thread(target=work, daemon=True).start()
                while True:
                    list(fsort.sort(b"%d" % i for i in range(1000)))
            except KeyboardInterrupt:
                print("interrupted")
        """)
        self.assertEqual((status, err), (0, ""))
        self.assertTrue(out.startswith("interrupted\n"))
        self.assertLess(took, PROMPT_SECONDS)


if __name__ == "__main__":
    unittest.main()
