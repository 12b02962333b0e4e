#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Tables of what benchmarks/launch/launch.sh has measured, and what of its aims was held.

Usage: benchmarks/launch/launch_tables.py DIR

Reads cold.PROGRAM.KIB.MS.launch.json (from iosched-host launch), cold.PROGRAM.KIB.MS.others.json (from timed_start),
busy.PROGRAM.json and slow.PROGRAM.json; what is missing is left out.
"""
import glob
import json
import os
import statistics
import sys

SHARE_AIMS = {0: 0.75, 100: 0.95}
BYTES_AIM = 1.25
BUSY_AIM = 1.5
# Of less than that part of the cold wait nothing is said.
LEAST_GAIN = 0.05
OURS, OTHERS = "preread", {"vmtouch": "vmtouch", "cacheRecord": "cache record"}


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def median(result, kind, member="waitUs"):
    """Nothing where the kind was not started or the number is not known."""
    values = [sample[member] for sample in result["starts"].get(kind, {}).get("samples", [])]
    return statistics.median(values) if values and None not in values else None


def share(result, kind):
    """The part of the avoidable wait that is gone."""
    cold, warm, now = (median(result, key) for key in ("cold", "warm", kind))
    if None in (cold, warm, now) or cold - warm < LEAST_GAIN * cold:
        return None
    return (cold - now) / (cold - warm)


def ratio(part, whole):
    return part / whole if part is not None and whole else None


def number(value, form="{:.2f}"):
    return "-" if value is None else form.format(value)


def ms(microseconds):
    return number(None if microseconds is None else microseconds / 1000, "{:.0f}")


def print_table(title, head, rows):
    print(f"\n{title}\n")
    widths = [max(len(row[column]) for row in [head, *rows]) for column in range(len(head))]

    def line(cells):
        return "| " + " | ".join(cell.ljust(width) if index == 0 else cell.rjust(width)
                                 for index, (cell, width) in enumerate(zip(cells, widths))) + " |"
    print(line(head))
    print("|" + "|".join("-" * (width + 2) for width in widths) + "|")
    for row in rows:
        print(line(row))


def aim(aims, what, wanted, measured, is_missed, missing=()):
    """`missing` names what misses the aim."""
    aims.append(([what, wanted, measured, "missed" if is_missed else "held"], missing))


def joined(launch, others):
    """The starts of both, which were made in turn on the same machine: more of those without help, to compare with."""
    starts = {kind: {"samples": list(value["samples"])} for kind, value in launch["starts"].items()}
    for kind, value in others["starts"].items():
        starts.setdefault(kind, {"samples": []})["samples"] += value["samples"]
    return {"starts": starts, "record": launch["record"]}


def cold_tables(folder, aims):
    cells, alone = {}, []
    for path in sorted(glob.glob(os.path.join(folder, "cold.*.launch.json"))):
        program, kib, head_start = os.path.basename(path)[len("cold."):-len(".launch.json")].rsplit(".", 2)
        others = path.replace(".launch.json", ".others.json")
        if os.path.exists(others):
            cells.setdefault((int(head_start), int(kib)), {})[program] = joined(load(path), load(others))
        else:
            alone.append(f"{program} ({kib} KiB, {head_start} ms)")
    behind, too_many, ratios = {}, [], []
    for (head_start, kib), programs in sorted(cells.items()):
        rows, ours = [], []
        behind.setdefault(head_start, [])
        for program, result in sorted(programs.items()):
            recorded = (result["record"] or {}).get("bytes")
            shares = [share(result, kind) for kind in (OURS, *OTHERS)]
            read = [ratio(median(result, kind, "bytesRead"), recorded) for kind in (OURS, *OTHERS)]
            rows.append([program, *(ms(median(result, kind)) for kind in ("cold", OURS, "warm")), *map(number, shares),
                         number(recorded and recorded / 1e6, "{:.1f}"), *map(number, read)])
            label = f"{program} ({kib} KiB, {head_start} ms)"
            if None not in shares:
                ours.append(shares[0])
                if shares[0] <= max(shares[1:]):
                    behind[head_start].append(label)
            if read[0] is not None:
                ratios.append(read[0])
                if read[0] > BYTES_AIM:
                    too_many.append(label)
        print_table(f"Head start {head_start} ms, read-ahead {kib} KiB: the share of the avoidable wait that is taken away, "
                    "and bytes read against those of the record",
                    ["program", "cold ms", OURS, "warm", "share", *OTHERS.values(), "record MB", "read",
                     *OTHERS.values()], rows)
        if ours and head_start in SHARE_AIMS:
            middle = statistics.median(ours)
            aim(aims, f"median share, head start {head_start} ms, read-ahead {kib} KiB",
                f">= {SHARE_AIMS[head_start]}", number(middle, "{:.3f}"), middle < SHARE_AIMS[head_start])
    for head_start, labels in behind.items():
        aim(aims, f"ahead of vmtouch and of a cache record, head start {head_start} ms", "every program",
            f"behind in {len(labels)}", bool(labels), labels)
    if alone:
        aim(aims, "compared with vmtouch and a cache record", "every program", f"missing for {len(alone)}", True, alone)
    if cells:
        aim(aims, "bytes read against the exact set", f"<= {BYTES_AIM}", f"at most {number(max(ratios, default=None))}",
            bool(too_many), too_many)


def waits_table(folder, part, title, kinds, best, most, aims):
    """One row a program of the kinds' waits; the aim is that `best` is at most `most` times a quiet cold start."""
    rows, failing, ratios = [], [], []
    for path in sorted(glob.glob(os.path.join(folder, part + ".*.json"))):
        program = os.path.basename(path)[len(part) + 1:-len(".json")]
        result = load(path)
        of_cold = ratio(median(result, best), median(result, "cold"))
        rows.append([program, *(ms(median(result, kind)) for kind in kinds), number(of_cold)])
        if of_cold is None or of_cold > most:
            failing.append(program)
        ratios += [] if of_cold is None else [of_cold]
    if rows:
        print_table(title, ["program", *kinds.values(), "of cold"], rows)
        aim(aims, title, f"<= {most} x cold", f"at most {number(max(ratios, default=None))}", bool(failing),
            failing)


def main():
    if len(sys.argv) != 2 or not os.path.isdir(sys.argv[1]):
        sys.exit(__doc__)
    folder, aims = sys.argv[1], []
    cold_tables(folder, aims)
    waits_table(folder, "busy", "Beside two background readers, ms",
                {"cold": "cold, quiet", "busyCold": "cold", "busyPreread": "preread", "busyPrereadLimited": "and limit"},
                "busyPrereadLimited", BUSY_AIM, aims)
    waits_table(folder, "slow", "On a disk of 100 MB/s and 4000 operations a second, ms",
                {"cold": "cold", "preread": "preread", "warm": "warm"}, "preread", 1, aims)
    if not aims:
        sys.exit(f"launch_tables: {folder} holds no results")
    print_table("Aims", ["what", "wanted", "measured", ""], [row for row, _ in aims])
    for (what, *_), missing in aims:
        if missing:
            print(f"\nMissed, {what}:\n  " + "\n  ".join(missing))


if __name__ == "__main__":
    main()
