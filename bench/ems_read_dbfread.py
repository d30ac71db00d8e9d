#!/usr/bin/python3
"""Reference for bench/ems_read: the same EMS sets read with dbfread.

For every envelope in FOLDER, opens each member table (envelope, administrative 1 and 2,
vehicle, totals, profile totals; the letter spelling when the plain one is absent) and
reads the fields of its first record, memo included. Runs ROUNDS passes and prints one
JSON line: {"sets": n, "best_seconds": s, "dbfread": version}.
"""

import json
import os
import sys
import time

try:
    import dbfread
except ImportError as error:  # the caller reports that the reference is missing
    print(json.dumps({"error": "dbfread not importable: %s" % error}))
    sys.exit(2)

# dbfread finds a table and its memo file without regard to case by globbing the folder,
# which in a folder of 14,000 files costs more than the read itself. Tables are opened by
# the names found in one listing, and memo files by their usual spellings first, so that
# the reference measures reading, as the agent's figures do.
_find_memofile = dbfread.dbf.find_memofile


def find_memofile(dbf_filename):
    stem = os.path.splitext(dbf_filename)[0]
    for extension in (".dbt", ".DBT", ".fpt", ".FPT"):
        if os.path.isfile(stem + extension):
            return stem + extension
    return _find_memofile(dbf_filename)


dbfread.dbf.find_memofile = find_memofile

SPELLINGS = [[".env"], [".ad1", "a.ad1"], [".ad2", "b.ad2"], [".veh", "v.veh"], [".ttl"], [".pft"]]


def member_paths(folder):
    names = {name.lower(): name for name in os.listdir(folder)}
    sets = []
    for lower, name in sorted(names.items()):
        if not lower.endswith(".env"):
            continue
        base = lower[: -len(".env")]
        paths = []
        for spellings in SPELLINGS:
            for suffix in spellings:
                if base + suffix in names:
                    paths.append(os.path.join(folder, names[base + suffix]))
                    break
            else:
                raise SystemExit("incomplete set: " + name)
        sets.append(paths)
    return sets


def read_set(paths):
    values = 0
    for path in paths:
        table = dbfread.DBF(path, encoding="cp1252", char_decode_errors="replace",
                            ignorecase=False)
        for record in table:
            values += len(record)
            break
    return values


def main():
    folder = sys.argv[1]
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 3
    sets = member_paths(folder)
    best = None
    for _ in range(rounds):
        start = time.perf_counter()
        for paths in sets:
            read_set(paths)
        elapsed = time.perf_counter() - start
        best = elapsed if best is None else min(best, elapsed)
    print(json.dumps({"sets": len(sets), "best_seconds": best,
                      "dbfread": getattr(dbfread, "__version__", "?")}))


if __name__ == "__main__":
    main()
