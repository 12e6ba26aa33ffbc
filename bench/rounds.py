"""Runs one row: the product and its peers in pairs, round after round.

In a round every peer that is still in the race makes a pair with the product, one directly after the other on the
same file; the order of the peers rotates from round to round, and so does the order within a pair. A ratio is always
taken within a pair, so that whatever slows the machine for a while slows both. In the first round all take part. A
peer that took more than twice the time of the best of its thread class there, and cannot win, is left out of the
others; so is one that could not do it. A peer that takes ten times as long as the best so far is stopped.

Before each run its output and work files are deleted and what is unwritten is flushed; the input is in the page
cache. One thread is bound to one core, the same for all; two to two. After each run the output is proved by
bench/record_check.cpp: against the input the first time, by the count and checksum found then afterwards, and the
order record by record every time."""

import json
import os
import re
import shutil
import subprocess
import sys
import time

import contenders
import process
from turns import turn

OUT_OF_RACE = 2.0       # times the best of the class
PATIENCE = 10.0         # times the best of the class, but at least
LEAST_PATIENCE = 30.0   # seconds


class Failed(Exception):
    pass


class Rounds:
    def __init__(self, args, programs, folder, unavailable):
        self.args = args
        self.programs = programs
        self.folder = folder
        self.unavailable = unavailable  # contender name -> reason
        self.work = folder / "work"
        self.output = folder / "out"
        self.messages = folder / "messages"
        self.expected = {}              # (data, order) -> count and checksum of a proved output

    def data_file(self, data):
        return self.folder / data.file_name(self.args.scale)

    def make_data(self, data):
        """The input, generated or read once: it is in the page cache then."""
        path = self.data_file(data)
        count = data.count(self.args.scale)
        if path.exists():
            subprocess.run(["cat", str(path)], stdout=subprocess.DEVNULL, check=True)
            return path
        room = shutil.disk_usage(self.folder).free
        wanted = 3 * count * data.length
        if room < wanted:
            sys.exit(f"{data.kind}: {wanted / 1e9:.1f} GB of disk wanted, {room / 1e9:.1f} GB are free")
        part = path.with_suffix(".part")
        with open(part, "wb") as file:
            subprocess.run([self.programs / "datagen", "--kind", data.kind, str(count), "1", str(data.length)],
                           stdout=file, check=True)
        part.rename(path)
        os.sync()
        return path

    def drop_data(self, data):
        if not self.args.keep:
            self.data_file(data).unlink(missing_ok=True)

    def job(self, row):
        return contenders.Job(row, self.args.scale, self.data_file(row.data), self.output, self.work, self.programs,
                              self.args.other)

    def once(self, row, contender, timeout=None):
        """One run, measured and proved. Raises Failed with what the program or the proof said."""
        job = self.job(row)
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir()
        self.output.unlink(missing_ok=True)
        os.sync()
        command = contender.command(job)
        run = process.run(command.argv, str(self.messages), timeout, env=command.env,
                          cores=contenders.cores_for(contender.threads))
        if run.status < 0 and timeout is not None:
            raise Failed(f"stopped after {run.wall:.0f} s")
        if run.status != 0:
            raise Failed(self.without_places(run.messages.strip() or f"exit status {run.status}"))
        out = self.output.stat().st_size
        measured = {"wall": run.wall, "cpu": run.cpu, "system": run.system, "peak": run.peak, "faults": run.faults,
                    "work": max(0, max(run.written, run.stored) - out) if row.memory_mb else 0}
        if contender is not contenders.COPY:
            self.prove(row)
        elif out != job.source.stat().st_size:
            raise Failed("the copy is cut")
        self.output.unlink()
        return measured

    def without_places(self, text):
        text = text.replace(f"{self.folder}/", "").replace(f"{contenders.ROOT}/", "")
        return " ".join(text.split()).split(" Possible solutions")[0][:160]

    def prove(self, row):
        key = (row.data, row.order)
        known = self.expected.get(key)
        source = ["--expect", known] if known else ["--in", str(self.data_file(row.data))]
        done = subprocess.run([self.programs / "record_check", *source, "--out", str(self.output), *row.order.proof],
                              capture_output=True, text=True)
        if done.returncode != 0:
            raise Failed(f"WRONG RESULT: {(done.stdout + done.stderr).strip()}")
        if not known:
            count = re.search(r", (\d+) out;", done.stdout)[1]
            self.expected[key] = f"{count}:{re.search(r'checksum ([0-9a-f]+-[0-9a-f]+)', done.stdout)[1]}"

    def entries(self, row, found):
        """Who takes part; for the others the reason why not goes to `found`."""
        result = [contenders.COPY] + [contenders.OTHER] * bool(self.args.other)
        for peer in contenders.PEERS:
            if peer.name in self.unavailable:
                found["missing"][peer.name] = self.unavailable[peer.name]
            elif peer.command(self.job(row)) is None:
                found["missing"][peer.name] = "reads no such records"
            else:
                result.append(peer)
        return result

    def measure(self, row):
        source = self.make_data(row.data)
        found = {"row": row.name, "records": row.data.count(self.args.scale), "size": source.stat().st_size,
                 "memory_kb": row.memory_kb(self.args.scale), "scale": self.args.scale, "pairs": {}, "missing": {},
                 "commands": {}}
        race = self.entries(row, found)
        self.work.mkdir(exist_ok=True)
        for each in [contenders.PRODUCT, *race]:
            found["commands"][each.name] = contenders.shown(
                each.command(self.job(row)), contenders.cores_for(each.threads), self.folder)
        for number in range(self.args.rounds):
            first = number % len(race)
            for peer in race[first:] + race[:first]:
                with turn(self.args.turns):
                    self.pair(row, peer, number, found)
            race = [peer for peer in race if self.stays(peer, found)]
        found |= {"when": time.strftime("%Y-%m-%d %H:%M", time.gmtime()), "load": round(os.getloadavg()[0], 1),
                  "revision": self.args.revision}
        return found

    def clean(self):
        """Leaves nothing but data that is to be kept."""
        shutil.rmtree(self.work, ignore_errors=True)
        for name in (self.output, self.messages, self.folder / "sqlite.sql"):
            name.unlink(missing_ok=True)

    def pair(self, row, peer, number, found):
        both = {}
        sides = [contenders.PRODUCT, peer]
        for side in sides if number % 2 == 0 else sides[::-1]:
            try:
                both[side.name] = self.once(row, side, self.patience(side, found))
            except Failed as reason:
                print(f"  {side.name}: {reason}", flush=True)
                if side is contenders.PRODUCT:
                    sys.exit(f"row {row.name}: {reason}")
                found["missing"][peer.name] = str(reason)
                found["pairs"].pop(peer.name, None)
                return
        product, other = both["fsort"], both[peer.name]
        found["pairs"].setdefault(peer.name, []).append([product, other])
        print(f"  {number + 1} {peer.name:13} {other['wall']:8.3f} s wall {other['cpu']:8.3f} s CPU "
              f"{other['peak'] / 2**20:7.0f} MiB   fsort {product['wall']:7.3f} s {product['cpu']:7.3f} s "
              f"{product['peak'] / 2**20:7.0f} MiB   {other['wall'] / product['wall']:.2f}", flush=True)

    @staticmethod
    def best_of_class(threads, found):
        """The shortest wall time of a peer with so many threads that keeps to its memory; None before there is one."""
        return min((pair[1]["wall"] for name, pairs in found["pairs"].items() for pair in pairs
                    if name not in contenders.COMPANIONS and contenders.BY_NAME[name].threads == threads
                    and contenders.within_memory(found, [pair[1] for pair in pairs])), default=None)

    def patience(self, side, found):
        if side is contenders.PRODUCT or side.name in contenders.COMPANIONS:
            return None
        best = self.best_of_class(side.threads, found)
        return None if best is None else max(LEAST_PATIENCE, PATIENCE * best)

    def stays(self, peer, found):
        if peer.name in contenders.COMPANIONS:
            return True
        pairs = found["pairs"].get(peer.name)
        if not pairs:
            return False
        best = self.best_of_class(peer.threads, found)
        return best is None or min(pair[1]["wall"] for pair in pairs) <= OUT_OF_RACE * best


def store(folder, name, found):
    folder.mkdir(parents=True, exist_ok=True)
    (folder / f"{name}.json").write_text(json.dumps(found, indent=1) + "\n")


def load(folder):
    return {path.stem: json.loads(path.read_text()) for path in sorted(folder.glob("*.json"))}
