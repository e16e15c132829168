#!/usr/bin/env python3
"""`scenario-log export --sqlite` read with Python's standard sqlite3 module.

  sqlite_export_test.py --reader R --sim S --work-dir D [--emulator WORDS]

A simulator run's database holds real tables with the columns and types of
`schema --json`, a schema_version of `schema`'s, the rows that `sql` counts
in every table and per module and decision, and indexes that a request's
lookup and a module's filter use.

Exit status 0 passed, 1 failed.
"""

import argparse
import json
import os
import shlex
import shutil
import sqlite3
import subprocess
import sys

TABLES = ["records", "requests", "headlines", "series", "files", "problems"]


def main():
    parser = argparse.ArgumentParser()
    for option in ("--reader", "--sim", "--work-dir", "--emulator"):
        parser.add_argument(option, default="")
    args = parser.parse_args()
    emulator = shlex.split(args.emulator)

    def run(*words):
        return subprocess.run(emulator + list(words), cwd=args.work_dir, check=True,
                              capture_output=True, text=True).stdout

    def sql(query):
        return [line.split(",") for line in
                run(args.reader, "sql", "--csv", "--no-cache", query, "logs").splitlines()[1:]]

    shutil.rmtree(args.work_dir, ignore_errors=True)
    os.makedirs(args.work_dir)
    run(args.sim, "--duration", "2", "--fps", "60", "--out", "logs", "--quiet")
    run(args.reader, "export", "--sqlite", "run.sqlite", "--no-cache", "logs")
    schema = [json.loads(line) for line in run(args.reader, "schema", "--json").splitlines()]

    db = sqlite3.connect(f"file:{os.path.join(args.work_dir, 'run.sqlite')}?mode=ro", uri=True)
    failures = []

    def expect(actual, wanted, what):
        if actual != wanted:
            failures.append(f"{what}: the database has {actual}, wanted {wanted}")

    for table in TABLES:
        documented = [(c["column"], c["type"]) for c in schema
                      if c.get("table") == table and "column" in c]
        declared = [(row[1], row[2]) for row in db.execute(f"PRAGMA table_info({table})")]
        expect(declared, documented, f"columns of {table}")
    kinds = dict(db.execute("SELECT name, type FROM sqlite_master WHERE name IN "
                            f"({','.join('?' * len(TABLES))})", TABLES).fetchall())
    expect(kinds, {table: "table" for table in TABLES}, "kinds")
    expect(db.execute("SELECT version FROM schema_version").fetchall(),
           [(schema[0]["schemaVersion"],)], "schema version")

    counts = ", ".join(f"(SELECT count(*) FROM {table})" for table in TABLES)
    expect([list(map(str, row)) for row in db.execute(f"SELECT {counts}")], sql(f"SELECT {counts}"),
           "rows per table")
    per_decision = ("SELECT module, decision, count(*) FROM records GROUP BY module, decision "
                    "ORDER BY module, decision")
    wanted = sql(per_decision)
    expect([[str(v) if v is not None else "" for v in row] for row in db.execute(per_decision)],
           wanted, "records per module and decision")

    plans = {
        "SELECT * FROM records WHERE series = 1 AND request = 7": "records_by_request",
        "SELECT * FROM records WHERE module = '3A' AND decision = 'AE_EXPOSURE_PARAM'":
            "records_by_decision",
    }
    for query, index in plans.items():
        plan = " ".join(row[3] for row in db.execute(f"EXPLAIN QUERY PLAN {query}"))
        expect(index in plan, True, f"{index} in the plan of {query} ({plan})")

    if failures:
        print("\n".join(failures), file=sys.stderr)
        return 1
    print(f"sqlite3 reads {sum(int(row[2]) for row in wanted)} records in {len(wanted)} modules "
          "and decisions, and every table's rows, as sql counts them")
    return 0


if __name__ == "__main__":
    sys.exit(main())
