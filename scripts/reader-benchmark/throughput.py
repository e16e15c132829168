"""The reader's throughput on a folder of about 1 GiB that scenario-sim
writes: `summary`, `grep` and `changes` beside GNU `grep -c` and `wc -l` on
the same files in the same run, each READER_BENCH_REPEATS times (default 3),
round by round so that the machine's load falls on all alike, from the page
cache. READER_BENCH_MIB sets the folder's size (default 1024). Writes the
block between the reader-benchmark markers of the file named by argv[1]."""
import os
import shutil
import statistics
import subprocess
import sys
import tempfile

from common import MIB, load_average, machine_sentence, replace_block, run_timed, verdict

out_path = sys.argv[1]
target_mib = int(os.environ.get("READER_BENCH_MIB", "1024"))
repeats = int(os.environ.get("READER_BENCH_REPEATS", "3"))
sim, reader = os.environ["BENCH_SIM"], os.environ["BENCH_READER"]


def folder_bytes(folder):
    return sum(os.path.getsize(os.path.join(folder, f)) for f in os.listdir(folder))


def make_folder(folder):
    # Sessions of the dusk scene at full speed; each run starts series of its own.
    seed = 1
    while folder_bytes(folder) < target_mib * MIB:
        subprocess.run([sim, "--scene", "dusk", "--seed", str(seed), "--duration", "20",
                        "--fps", "1000", "--records", "200", "--capture-interval", "0", "--threads", "16",
                        "--out", folder, "--quiet"], check=True)
        seed += 1


scratch = tempfile.mkdtemp(prefix="reader-bench.", dir=os.environ.get("TMPDIR", "/tmp"))
try:
    folder = os.path.join(scratch, "logs")
    os.mkdir(folder)
    make_folder(folder)
    files = sorted(os.path.join(folder, f) for f in os.listdir(folder))
    total = folder_bytes(folder)
    lines = int(subprocess.run(["wc", "-l"] + files, capture_output=True, text=True,
                               check=True).stdout.strip().splitlines()[-1].split()[0])
    commands = [
        ("scenario-log summary", [reader, "summary", folder]),
        ("scenario-log grep --module P2Streaming", [reader, "grep", "--module", "P2Streaming",
                                                    folder]),
        ("scenario-log changes", [reader, "changes", folder]),
        ("grep -c P2Streaming", ["grep", "-c", "P2Streaming"] + files),
        ("wc -l", ["wc", "-l"] + files),
    ]
    subprocess.run(["cat"] + files, stdout=subprocess.DEVNULL, check=True)  # page cache
    samples = {name: [] for name, _ in commands}
    load_before = load_average()
    for _ in range(repeats):
        for name, command in commands:
            samples[name].append(run_timed(command, scratch)[:3])
    load_after = load_average()
finally:
    shutil.rmtree(scratch, ignore_errors=True)


def median_rate(name, column=0):
    return total / MIB / max(0.01, statistics.median(s[column] for s in samples[name]))


grep_rate = median_rate("grep -c P2Streaming")
rows = []
for name, _ in commands:
    seconds = statistics.median(s[0] for s in samples[name])
    rss = max(s[2] for s in samples[name])
    rows.append(f"| `{name}` | {seconds:.2f} | {median_rate(name):,.0f} | "
                f"{median_rate(name) / grep_rate:.2f} | {median_rate(name, 1):,.0f} | {rss:,.1f} |")

summary_ratio = median_rate("scenario-log summary") / grep_rate
changes_ratio = median_rate("scenario-log changes") / grep_rate
reader_rss = max(s[2] for name, _ in commands if name.startswith("scenario-log")
                 for s in samples[name])
replace_block(out_path, "reader-benchmark", [
    "<!-- reader-benchmark:begin -->",
    "## The log reader on a 1 GiB folder",
    "",
    machine_sentence("scripts/run-reader-benchmark", load_before, load_after),
    "",
    f"Folder: {len(files)} files, {total / MIB:,.0f} MiB, {lines:,} lines, written by "
    "scenario-sim (`--scene dusk --fps 1000 --records 200 --capture-interval 0 --threads 16`, 20 s per "
    f"session and seed). Every command read all files from the page cache, {repeats} rounds; "
    f"medians of wall time (and of user+system CPU time, less touched by the load), peak RSS "
    f"the highest of the rounds. {os.environ['BENCH_GREP_VERSION']}.",
    "",
    "| command | median s | MiB/s | × grep -c | MiB per CPU second | peak RSS MiB |",
    "|---|---|---|---|---|---|",
    *rows,
    "",
    "| target | measured | verdict |",
    "|---|---|---|",
    f"| `summary` at least half of `grep -c`'s throughput | {summary_ratio:.2f}× | "
    f"{verdict(summary_ratio >= 0.5)} |",
    f"| `changes` at least half of `grep -c`'s throughput | {changes_ratio:.2f}× | "
    f"{verdict(changes_ratio >= 0.5)} |",
    f"| RSS under 64 MiB | highest of the reader's runs {reader_rss:.1f} MiB | "
    f"{verdict(reader_rss < 64)} |",
    "<!-- reader-benchmark:end -->",
])
