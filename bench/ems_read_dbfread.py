#!/usr/bin/python3
"""Reference for bench/ems_read: the same EMS sets read with dbfread.

For every envelope in FOLDER, finds each member table (envelope, administrative 1 and 2,
vehicle, totals, profile totals) as the agent does, by trying the plain spelling and then
the letter one in the envelope's case, opens it and reads the fields of its first record,
memo included. Runs ROUNDS passes and prints one JSON line:
{"sets": n, "best_seconds": s, "dbfread": version}.
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
# the names tried below and memo files by their usual spellings first, so that the
# reference measures what the agent does: finding the members by name, then reading.
_find_memofile = dbfread.dbf.find_memofile


def find_memofile(dbf_filename):
    stem = os.path.splitext(dbf_filename)[0]
    for extension in (".dbt", ".DBT", ".fpt", ".FPT"):
        if os.path.isfile(stem + extension):
            return stem + extension
    return _find_memofile(dbf_filename)


dbfread.dbf.find_memofile = find_memofile

SPELLINGS = [[".env"], [".ad1", "a.ad1"], [".ad2", "b.ad2"], [".veh", "v.veh"], [".ttl"], [".pft"]]


def envelopes(folder):
    return sorted(os.path.join(folder, name) for name in os.listdir(folder)
                  if name.lower().endswith(".env"))


def member_paths(envelope):
    base, extension = envelope[:-4], envelope[-4:]
    upper = extension.isupper()
    paths = []
    for spellings in SPELLINGS:
        for suffix in spellings:
            candidate = base + (suffix.upper() if upper else suffix)
            if os.path.isfile(candidate):
                paths.append(candidate)
                break
        else:
            raise SystemExit("incomplete set: " + envelope)
    return paths


def read_set(envelope):
    values = 0
    for path in member_paths(envelope):
        table = dbfread.DBF(path, encoding="cp1252", char_decode_errors="replace",
                            ignorecase=False)
        for record in table:
            values += len(record)
            break
    return values


def main():
    folder = sys.argv[1]
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 3
    sets = envelopes(folder)
    best = None
    for _ in range(rounds):
        start = time.perf_counter()
        for envelope in sets:
            read_set(envelope)
        elapsed = time.perf_counter() - start
        best = elapsed if best is None else min(best, elapsed)
    print(json.dumps({"sets": len(sets), "best_seconds": best,
                      "dbfread": getattr(dbfread, "__version__", "?")}))


if __name__ == "__main__":
    main()
