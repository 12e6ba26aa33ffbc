"""What scripts/bench measures: the data, the rows, and what each row wants to reach.

A row is one kind of data, one order and one size of memory. The order is written once for each program that takes
part: the options of fsort, those of GNU sort, an expression for each engine that speaks SQL, and what
bench/record_check.cpp is to prove. Where a program cannot order the records so, the entry is missing and the report
says why."""

from dataclasses import dataclass, field


@dataclass(frozen=True)
class Data:
    kind: str             # of bench/datagen.cpp
    records: int
    title: str
    length: int = 100

    def count(self, scale):
        return max(1000, int(self.records * scale))

    def file_name(self, scale):
        return f"{self.kind.replace(':', '-')}-{self.count(scale)}-{self.length}"


@dataclass(frozen=True)
class Order:
    title: str
    fsort: tuple
    proof: tuple
    gnu: tuple = None
    duckdb: str = None      # expression of ORDER BY over the column l
    clickhouse: str = None  # the same over the column line, or a whole record structure for RowBinary
    sqlite: str = None      # the same over the columns named in `columns`
    columns: tuple = ("l",)
    structure: str = None   # ClickHouse: columns of a binary record
    distinct: bool = False


@dataclass(frozen=True)
class Goal:
    one: float = None       # times as fast as the best peer on one thread
    two: float = None       # and on two
    copy: float = None      # at most so many times the copy limit


@dataclass(frozen=True)
class Row:
    name: str
    data: Data
    order: Order
    goal: Goal = Goal()
    memory_mb: int = 0      # 0: memory for all
    options: tuple = field(default=())

    def memory_kb(self, scale):
        return int(self.memory_mb * 1024 * scale)


LINE = Order("the whole line", (), ("bytes",), (), "l", "line", "l")
UNIQUE = Order("the whole line, one of each", ("-u",), ("--unique", "bytes"), ("-u",), "l", "line", "l", distinct=True)
FIXED = Order("bytes 0 to 9 of 100", ("-rf", "100", "-k", "0-255", "-c", "0-9"),
              ("--record", "100", "columns:0:9"), clickhouse="k",
              structure="k FixedString(10), rest FixedString(90)")
COUNTED = Order("all bytes behind the length", ("-rv", "0", "-k", "0-255", "-c", "1-"),
                ("--counted", "columns:1:999"), clickhouse="r", structure="r String")
NUMBER = Order("field 3 as a number", ("-t", ";", "-n", "-f", "3"), ("number:;:3",), ("-s", "-t", ";", "-k", "4,4n"),
               "CAST(split_part(l, ';', 4) AS DOUBLE)", "toFloat64(splitByChar(';', line)[4])", "CAST(d AS REAL)",
               tuple("abcde"))
MIXED = Order("field 0, then field 2 as a number, descending, then field 1 in either case",
              ("-t", ";", "-k", "-f", "0", "-n", "-i", "-f", "2", "-k", "'a'-'z'", "-r", "'A'-'Z'", "-f", "1"),
              ("text:;:0", "number:;:2,desc", "fold:;:1"),
              ("-s", "-t", ";", "-k", "1,1", "-k", "3,3nr", "-k", "2,2f"),
              "split_part(l, ';', 1), CAST(split_part(l, ';', 3) AS DOUBLE) DESC, lower(split_part(l, ';', 2))",
              "splitByChar(';', line)[1], toFloat64(splitByChar(';', line)[3]) DESC, lower(splitByChar(';', line)[2])",
              "a, CAST(c AS REAL) DESC, lower(b)", tuple("abcde"))

A = Data("lines", 10_000_000, "text lines of 100 bytes, random")
B = Data("fixed", 10_000_000, "fixed binary records of 100 bytes")
C = Data("fields", 10_000_000, "lines of 40 bytes, fields with a signed decimal")
D = Data("words", 20_000_000, "short words, Zipf")
E = Data("logs", 5_000_000, "log lines and URLs of 85 bytes")
F = Data("equal", 10_000_000, "lines of 100 bytes, all equal")
G_SORTED = Data("sorted", 10_000_000, "lines of 100 bytes, already sorted")
G_REVERSED = Data("reversed", 10_000_000, "lines of 100 bytes, reversed")
H = Data("lines", 1_000_000, "lines of 1,000 bytes", 1000)
K = Data("counted", 10_000_000, "variable records, 21 to 128 bytes")

RANDOM, KEYED, WORDS = Goal(2.0, 1.4, 3), Goal(2.5, 1.6, 6), Goal(3, 2.5, 3)
LOGS, EVEN = Goal(1.6, 1.6, 3), Goal(1.5, 1.5, 2)
SPILL = {100: Goal(1.8, 1.4, 2.5), 20: Goal(1.8, 1.4, 3)}

ROWS = [
    Row("a", A, LINE, RANDOM),
    Row("b", B, FIXED, RANDOM),
    Row("c", C, NUMBER, KEYED),
    Row("d", D, LINE, WORDS),
    Row("e", E, LINE, LOGS),
    Row("f", F, LINE, EVEN),
    Row("g-sorted", G_SORTED, LINE, EVEN),
    Row("g-reversed", G_REVERSED, LINE, EVEN),
    Row("h", H, LINE, options=("-rt", "2000")),
    Row("i", C, MIXED, KEYED),
    Row("j", D, UNIQUE),
    Row("k", K, COUNTED),
] + [Row(f"{name}-{memory}m", data, order, SPILL[memory], memory)
     for memory in SPILL for name, data, order in (("a", A, LINE), ("c", C, NUMBER), ("d", D, LINE), ("e", E, LINE))]
