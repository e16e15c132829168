"""What the reader's benchmark parts share: timing a command through GNU time,
the machine's description, and replacing one marked block of BENCHMARKS.md."""
import os
import re
import subprocess
import sys

MIB = 1024 * 1024


def run_timed(command, scratch, env=None, ok_statuses=(0, 1)):
    """Runs `command` under /usr/bin/time with its standard output in a file
    (not /dev/null, which grep would take as leave to stop at the first
    match). Returns (wall s, user+system CPU s, peak RSS MiB, output bytes)."""
    report = os.path.join(scratch, "time.txt")
    output = os.path.join(scratch, "out.txt")
    errors = os.path.join(scratch, "err.txt")
    with open(output, "wb") as out, open(errors, "wb") as err:
        status = subprocess.run(["/usr/bin/time", "-f", "%e %U %S %M", "-o", report] + command,
                                stdout=out, stderr=err, env=env).returncode
    if status not in ok_statuses:
        sys.exit(f"failed ({status}): {' '.join(command)}\n"
                 + open(errors, errors="replace").read()[-2000:])
    wall, user, system, rss_kib = open(report).read().split()[-4:]
    return float(wall), float(user) + float(system), int(rss_kib) / 1024.0, open(output, "rb").read()


def load_average():
    return " ".join(open("/proc/loadavg").read().split()[:3])


def machine_sentence(script, load_before, load_after):
    return (f"Measured {os.environ['BENCH_DATE']} by `{script}` on {os.environ['BENCH_NPROC']} "
            f"cores ({os.environ['BENCH_CPU']}); the machine is shared with other developers' "
            f"builds (load average before {load_before}, after {load_after}), so only figures "
            "of one run are compared.")


def replace_block(path, name, lines):
    """Puts `lines` (which start and end with the block's markers) in place of
    the block between `name`'s markers in the file at `path`, or appends them."""
    text = open(path).read() if os.path.exists(path) else ""
    pattern = re.compile(rf"<!-- {re.escape(name)}:begin -->.*?<!-- {re.escape(name)}:end -->", re.S)
    block = "\n".join(lines)
    if pattern.search(text):
        text = pattern.sub(lambda _: block, text)
    else:
        text = text.rstrip("\n") + "\n\n" + block + "\n"
    open(path, "w").write(text)
    print(block)


def verdict(ok):
    return "**met**" if ok else "**not met**"
