"""Makes the tables of a report from the stored rows; no figure is computed anywhere else.

A ratio is the median of the ratios within the pairs, with the smallest and the largest behind it. "Best peer" is the
one of its thread class with the shortest median wall time."""

import shlex
import statistics

import claims
import contenders
from machine import machine
from rows import ROWS

MEBI = 1 << 20
PEAK_FACTOR, PEAK_SLACK = 1.35, 32 * MEBI


def seconds(value):
    return f"{value:.2f} s" if value >= 0.995 else f"{value:.3f} s"


def spread(values, places=2):
    return f"{statistics.median(values):.{places}f} ({min(values):.{places}f} to {max(values):.{places}f})"


def reached(good):
    return "yes" if good else "**no**"


def table(head, lines):
    return ["| " + " | ".join(head) + " |", "|" + "---|" * len(head),
            *("| " + " | ".join(each) + " |" for each in lines)]


def sides(found, name):
    pairs = found["pairs"][name]
    return [pair[0] for pair in pairs], [pair[1] for pair in pairs]


def ratios(found, name, what="wall"):
    return [pair[1][what] / pair[0][what] for pair in found["pairs"][name] if pair[0][what] > 0]


def product_runs(found):
    return [pair[0] for pairs in found["pairs"].values() for pair in pairs]


def best(found, threads):
    peers = [name for name in found["pairs"]
             if name not in contenders.COMPANIONS and contenders.BY_NAME[name].threads == threads
             and contenders.within_memory(found, sides(found, name)[1])]
    return min(peers, key=lambda name: claims.middle(sides(found, name)[1]), default=None)


def against(found, threads, goal):
    """Peer, ratio, goal, reached."""
    name = best(found, threads)
    if name is None:
        return ["none", "", "", ""]
    times = ratios(found, name)
    judged = [f"at least {goal}", reached(statistics.median(times) >= goal)] if goal else ["", ""]
    return [contenders.BY_NAME[name].title, spread(times), *judged]


def against_copy(found, goal):
    times = [1 / ratio for ratio in ratios(found, "copy")]
    return [spread(times), *([f"at most {goal}", reached(statistics.median(times) <= goal)] if goal else ["", ""])]


def memory_text(found):
    return f"{found['memory_kb'] / 1024:.3g} MB"


def row_title(row, found):
    memory = f"; {memory_text(found)} of memory" if row.memory_mb else ""
    return f"{row.name}: {found['records']:,} {row.data.title}; by {row.order.title}{memory}"


def goal_table(results):
    lines = [[row_title(row, results[row.name]), seconds(claims.middle(product_runs(results[row.name]))),
              *against(results[row.name], 1, row.goal.one), *against(results[row.name], 2, row.goal.two),
              *against_copy(results[row.name], row.goal.copy)] for row in ROWS if row.name in results]
    return table(["row", "fsort", "best peer, 1 thread", "times as fast", "goal", "reached", "best peer, 2 threads",
                  "times as fast", "goal", "reached", "times the copy limit", "goal", "reached"], lines)


def beyond_memory(results):
    """Those that are no best peer because they did not keep to their memory."""
    said = []
    for row in ROWS:
        found = results.get(row.name, {"pairs": {}})
        for peer in contenders.PEERS:
            runs = [pair[1] for pair in found["pairs"].get(peer.name, [])]
            if runs and not contenders.within_memory(found, runs):
                said.append(f"{row.name} {peer.title}, {peer.threads} thread{'s' * (peer.threads > 1)} "
                            f"({max(run['peak'] for run in runs) / MEBI:,.0f} MiB, "
                            f"{spread(ratios(found, peer.name))} times fsort's time)")
    return ["", f"Beyond their memory, and no best peer: {'; '.join(said)}."] if said else []


def detail_line(title, threads, runs, found, times, spills):
    cells = [title, str(threads), str(len(runs)), spread([run["wall"] for run in runs]), times,
             f"{claims.middle(runs, 'cpu'):.2f} ({claims.middle(runs, 'system'):.2f})",
             f"{max(run['peak'] for run in runs) / MEBI:,.0f}", f"{claims.middle(runs, 'faults'):,.0f}"]
    return cells + ([f"{claims.middle(runs, 'work') / found['size']:.2f}"] if spills else [])


def detail(row, found):
    spills = bool(row.memory_mb)
    lines = [detail_line("fsort", 1, product_runs(found), found, "1", spills)]
    for each in [contenders.COPY, contenders.OTHER, *contenders.PEERS]:
        if each.name in found["pairs"]:
            lines.append(detail_line(each.title, each.threads, sides(found, each.name)[1], found,
                                     spread(ratios(found, each.name)), spills))
        elif each.name in found["missing"]:
            reason = found["missing"][each.name].replace("|", "/")
            lines.append([each.title, str(each.threads), "0", f"not measured: {reason}", *[""] * (4 + spills)])
    head = ["program", "threads", "rounds", "wall, s", "wall / fsort's", "CPU, s (of it system)", "peak, MiB",
            "page faults"]
    return [f"### {row_title(row, found)}", "",
            f"{found['size']:,} bytes; {found['when']} UTC, load average afterwards {found['load']}", "",
            *table(head + (["work files / input"] if spills else []), lines), ""]


def growth_lines(found):
    def cost(size, what):
        return claims.middle(size["runs"], what) / size["records"] * 1e9
    first = found["sizes"][0]
    return [[f"{size['records']:,}", spread([run["wall"] for run in size["runs"]]), f"{cost(size, 'wall'):.0f} ns",
             f"{cost(size, 'wall') / cost(first, 'wall'):.2f}", f"{cost(size, 'cpu') / cost(first, 'cpu'):.2f}",
             f"{max(run['peak'] for run in size['runs']) / MEBI:,.0f} MiB"] for size in found["sizes"]]


def paired(runs, top, bottom):
    return [a["wall"] / b["wall"] for a, b in zip(runs[top], runs[bottom])]


def duplicate_lines(found):
    return [[name, spread([run["wall"] for run in runs]), spread(paired(found["runs"], name, "all different"))]
            for name, runs in found["runs"].items()]


def prefix_lines(found):
    runs = found["runs"]
    lines = []
    for name in runs:
        if name.startswith("no prefix") or name.endswith("copied"):
            continue
        more = [a["wall"] - b["wall"] for a, b in zip(runs[name], runs["no prefix"])]
        lines.append([name, spread([run["wall"] for run in runs[name]]), spread(more),
                      spread([run["wall"] for run in runs[f"{name}, copied"]]), f"{prefix_share(runs, name):.2f}"])
    return lines


def prefix_share(runs, name):
    """What a prefix costs more, as a share of copying the records that have it."""
    return statistics.median((a["wall"] - b["wall"]) / c["wall"]
                             for a, b, c in zip(runs[name], runs["no prefix"], runs[f"{name}, copied"]))


def claim_table(results):
    lines = []

    def claim(what, value, goal, good):
        lines.append([what, value, goal, reached(good)])
    if "growth" in results:
        last = growth_lines(results["growth"])[-1]
        claim(f"cost of a record, {last[0]} records against {growth_lines(results['growth'])[0][0]}",
              f"{last[3]} times", f"below {claims.MAX_GROWTH}", float(last[3]) < claims.MAX_GROWTH)
    if "duplicates" in results:
        for name in list(results["duplicates"]["runs"])[1:]:
            times = paired(results["duplicates"]["runs"], name, "all different")
            claim(f"{name} lines against all different", f"{spread(times)} times", "at most 1",
                  statistics.median(times) <= 1)
    if "prefixes" in results:
        for line in prefix_lines(results["prefixes"]):
            claim(f"common prefix of {line[0]}: what it costs more, in copies of its records", line[4], "at most 1",
                  float(line[4]) <= 1)
    if "a" in results:
        found = results["a"]
        peak, limit = max(run["peak"] for run in product_runs(found)), PEAK_FACTOR * found["size"] + PEAK_SLACK
        claim("peak memory, row a", f"{peak / MEBI:,.0f} MiB", f"at most {limit / MEBI:,.0f} MiB", peak <= limit)
    if "smallest" in results:
        middles = [each[1] for each in results["smallest"]["milliseconds"]]
        claim("a process that sorts ten lines", f"{spread(middles)} ms", f"at most {claims.MAX_SMALLEST_MS:.0f} ms",
              statistics.median(middles) <= claims.MAX_SMALLEST_MS)
    if "small-sorts" in results:
        rates = results["small-sorts"]["rates"]
        claim(f"sorts of {claims.SMALL_RECORDS} records a second, by callbacks", spread(rates, 0),
              f"at least {claims.LEAST_SMALL_SORTS:,}", statistics.median(rates) >= claims.LEAST_SMALL_SORTS)
    return table(["what", "measured", "goal", "reached"], lines)


def claim_details(results):
    lines = []
    if "growth" in results:
        lines += ["### Cost of a record", ""] + table(
            ["records", "wall, s", "wall a record", "times the first", "CPU, times the first", "peak"],
            growth_lines(results["growth"])) + [""]
    if "duplicates" in results:
        lines += [f"### Duplicates, {results['duplicates']['records']:,} lines", ""] + table(
            ["lines", "wall, s", "times all different"], duplicate_lines(results["duplicates"])) + [""]
    if "prefixes" in results:
        count = results["prefixes"]["records"]
        lines += [f"### Common prefixes, {count:,} records of 100 bytes behind the prefix", ""] + table(
            ["prefix", "wall, s", "more than without prefix, s", "copying them, s", "more / copying"],
            prefix_lines(results["prefixes"])) + [""]
    return lines


def facts(results, versions):
    every = list(results.values())
    when = sorted(found["when"] for found in every)
    scales = sorted({found["scale"] for found in every})
    loads = sorted(found["load"] for found in every)
    lines = [f"- Machine: {machine()}", f"- Peers: {'; '.join(versions)}",
             f"- Revision: {', '.join(sorted({found['revision'] for found in every}))}; built with the preset "
             "`bench`, the flags of `release`",
             f"- Run from {when[0]} to {when[-1]} UTC, load average after a row {loads[0]} to {loads[-1]}"]
    if scales != [1.0]:
        lines.append(f"- **Not a full run**: records and memory scaled by {', '.join(map(str, scales))}")
    return lines


def commands(results):
    lines = ["## Commands", "",
             "In the folder of the data; `datagen`, `record_check`, `copy_limit` and `fsort` are those of "
             "`build/bench/bin`.",
             ""]
    for row in ROWS:
        if row.name not in results:
            continue
        found = results[row.name]
        make = (f"datagen --kind {row.data.kind} {found['records']} 1 {row.data.length} > "
                f"{row.data.file_name(found['scale'])}")
        check = f"record_check --in {row.data.file_name(found['scale'])} --out out {shlex.join(row.order.proof)}"
        lines += [f"{row.name}:", "", "```", make, *found["commands"].values(), check, "```", ""]
    return lines


def readme_table(results):
    """The rows that a newcomer looks for."""
    def times(found, threads):
        name = best(found, threads)
        return f"{statistics.median(ratios(found, name)):.1f} x ({contenders.BY_NAME[name].title})" if name else "-"
    lines = [[f"{results[row.name]['records']:,} {row.data.title}" + (f", {memory_text(results[row.name])}" if row.memory_mb else ""),
              seconds(claims.middle(product_runs(results[row.name]))), times(results[row.name], 1),
              times(results[row.name], 2), f"{1 / statistics.median(ratios(results[row.name], 'copy')):.1f} x"]
             for row in ROWS
             if row.name in ("a", "b", "c", "d", "e", "i", "a-100m", "c-100m", "a-20m") and row.name in results]
    scales = {found["scale"] for found in results.values()} - {1.0}
    said = ["A smaller run than the full one; medians of at least five pairs:", ""] if scales else []
    return said + table(["data", "fsort", "faster than the best peer, 1 thread", "and 2 threads", "time of a copy"], lines)
