"""The programs that sort the same file, and the command line of each.

Every program gets the input as a file and writes the same kind of file, ordered by the same key in the C locale. Of
the forms an engine offers, the one is used that was fastest here: DuckDB reads and writes lines as a CSV of one
column without delimiter or quotes; ClickHouse reads LineAsString and writes TSVRaw, formats in parallel only with two
threads; SQLite imports a table and selects it ordered. Told to keep to little memory, DuckDB needs small read buffers
and leave to forget the order of the input, ClickHouse small blocks and reads instead of a mapped input. ClickHouse is
told when to spill and not what to fail at: it fails at limits of this size. An engine is a large program, so a peer
may take 256 MiB more than its memory; one that takes still more is measured and shown, but is no best peer."""

import os
import pathlib
import shlex
import shutil
from dataclasses import dataclass

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent
GNU_MEMORY_FOR_ALL = "8G"
ROOM_OF_AN_ENGINE = 256 << 20


@dataclass(frozen=True)
class Contender:
    name: str
    title: str
    threads: int
    command: object        # function (job) -> Command, or None where it cannot order the row


@dataclass
class Command:
    argv: list
    env: dict = None
    script: str = None     # lies in the file that argv names


@dataclass
class Job:
    """One run: what is to be sorted and where everything lies."""
    row: object
    scale: float
    source: pathlib.Path
    output: pathlib.Path
    work: pathlib.Path      # empty folder, for work files
    programs: pathlib.Path  # folder of the built programs
    other: str = None       # another build of fsort

    @property
    def memory_kb(self):
        return self.row.memory_kb(self.scale)

    @property
    def order(self):
        return self.row.order


def fsort(job, program=None):
    memory = ["-m", str(job.memory_kb), "-w", str(job.work)] if job.memory_kb else []
    return Command([program or str(job.programs / "fsort"), "-q", *memory, "-in", str(job.source), "-out",
                    str(job.output), *job.row.options, *job.order.fsort])


def other(job):
    return fsort(job, job.other)


def copy(job):
    through = [str(job.work / "copy")] if job.memory_kb else []
    return Command([str(job.programs / "copy_limit"), str(job.source), str(job.output), *through])


def gnu(job, threads):
    if job.order.gnu is None:
        return None
    memory = f"{job.memory_kb}K" if job.memory_kb else GNU_MEMORY_FOR_ALL
    return Command(["sort", f"--parallel={threads}", "-S", memory, "-T", str(job.work), *job.order.gnu, "-o",
                    str(job.output), str(job.source)], {"LC_ALL": "C"})


def query(job, engine, threads, memory_mb, statement):
    return Command([shutil.which("node") or "node", str(HERE / "peers" / "query.js"), engine, str(threads),
                    str(memory_mb), str(job.work), statement],
                   {"NODE_PATH": str(ROOT / "build" / "bench" / "node_modules"), "LC_ALL": "C"})


def duckdb(job, threads):
    if job.order.duckdb is None:
        return None
    small = ", buffer_size=2000000, max_line_size=100000" if job.memory_kb else ""
    source = (f"read_csv('{job.source}', columns={{'l': 'VARCHAR'}}, header=false, delim='', quote='', escape='', "
              f"auto_detect=false{small})")
    distinct = "DISTINCT " if job.order.distinct else ""
    statement = (f"COPY (SELECT {distinct}l FROM {source} ORDER BY {job.order.duckdb}) TO '{job.output}' "
                 "(FORMAT csv, HEADER false, DELIMITER '', QUOTE '', ESCAPE '')")
    if job.memory_kb:
        statement = "SET preserve_insertion_order=false; " + statement
    return query(job, "duckdb", threads, -(-job.memory_kb * 1024 // 1_000_000), statement)


def clickhouse(job, threads):
    order = job.order
    if order.clickhouse is None:
        return None
    structure = order.structure or "line String"
    read, write = ("RowBinary", "RowBinary") if order.structure else ("LineAsString", "TSVRaw")
    what = "*" if order.structure else "line"
    settings = {"max_threads": threads, "input_format_parallel_parsing": 0,
                "output_format_parallel_formatting": int(threads > 1)}
    if job.memory_kb:
        limit = job.memory_kb * 1024
        settings |= {"max_bytes_before_external_sort": limit // 2, "max_bytes_ratio_before_external_sort": 0,
                     "max_block_size": 8192, "min_external_sort_block_bytes": 0, "max_read_buffer_size": 131072,
                     "min_insert_block_size_rows": 0, "min_insert_block_size_bytes": 0,
                     "storage_file_read_method": "'pread'"}
    told = ", ".join(f"{key}={value}" for key, value in settings.items())
    grouped = f" GROUP BY {what}" if order.distinct else ""
    return query(job, "clickhouse", threads, 0,
                 f"INSERT INTO FUNCTION file('{job.output}', '{write}', '{structure}') SELECT {what} "
                 f"FROM file('{job.source}', '{read}', '{structure}'){grouped} ORDER BY {order.clickhouse} "
                 f"SETTINGS {told}")


def sqlite(job):
    order = job.order
    if order.sqlite is None:
        return None
    separator = ";" if len(order.columns) > 1 else "\\t"
    columns = ", ".join(order.columns)
    lines = ["PRAGMA journal_mode=OFF;", "PRAGMA synchronous=OFF;"]
    if job.memory_kb:
        lines += [f"PRAGMA cache_size=-{job.memory_kb};", "PRAGMA temp_store=FILE;"]
    lines += [f"CREATE TABLE t({columns.replace(',', ' TEXT,')} TEXT);", ".mode ascii",
              f'.separator "{separator}" "\\n"', f".import {job.source} t",
              ".mode list", f'.separator "{separator}"', f".once {job.output}",
              f"SELECT {'DISTINCT ' if order.distinct else ''}{columns} FROM t ORDER BY {order.sqlite};"]
    script = job.work.parent / "sqlite.sql"
    script.write_text("\n".join(lines) + "\n")
    database = str(job.work / "sqlite.db") if job.memory_kb else ":memory:"
    return Command(["sqlite3", "-batch", database, f".read {script}"], {"SQLITE_TMPDIR": str(job.work)},
                   "\n".join(lines))


def on(threads, command):
    return lambda job: command(job, threads)


PRODUCT = Contender("fsort", "fsort", 1, fsort)
COPY = Contender("copy", "copy limit", 1, copy)
OTHER = Contender("other", "the other fsort", 1, other)
COMPANIONS = ("copy", "other")  # in every round, and no peers
PEERS = [
    Contender("clickhouse-1", "ClickHouse", 1, on(1, clickhouse)),
    Contender("duckdb-1", "DuckDB", 1, on(1, duckdb)),
    Contender("clickhouse-2", "ClickHouse", 2, on(2, clickhouse)),
    Contender("duckdb-2", "DuckDB", 2, on(2, duckdb)),
    Contender("gnu-2", "GNU sort", 2, on(2, gnu)),
    Contender("gnu-1", "GNU sort", 1, on(1, gnu)),
    Contender("sqlite-1", "SQLite", 1, sqlite),
]
BY_NAME = {each.name: each for each in [PRODUCT, COPY, OTHER, *PEERS]}


def within_memory(found, runs):
    """Whether a peer kept to the memory of its row, or was given none to keep to."""
    limit = found["memory_kb"] * 1024 + ROOM_OF_AN_ENGINE
    return found["memory_kb"] == 0 or max(run["peak"] for run in runs) <= limit


def cores_for(threads):
    """One thread: the last core, the same for all. Two: the last two."""
    return set(sorted(os.sched_getaffinity(0))[-threads:])


def quoted(part):
    """For a shell; statements, which are full of single quotes, stay legible."""
    return f'"{part}"' if "'" in part and not set(part) & set('"$`\\!') else shlex.quote(part)


def shown(command, cores, folder):
    """The command as a reader types it: in the folder of the data, with the repository's programs in the path."""
    text = " ".join(["taskset", "-c", ",".join(map(str, sorted(cores)))]
                    + ["env"] * bool(command.env)
                    + [f"{key}={shlex.quote(value)}" for key, value in (command.env or {}).items()]
                    + [quoted(part) for part in command.argv])
    for place, short in ((f"{folder}/", ""), (f"{ROOT}/build/bench/bin/", ""), (f"{ROOT}/", ""),
                         (str(shutil.which("node")), "node")):
        text = text.replace(place, short)
    if command.script:
        text += "\n# sqlite.sql:\n" + command.script.replace(f"{folder}/", "")
    return text
