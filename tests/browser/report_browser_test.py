#!/usr/bin/env python3
"""`scenario-log report` in headless chromium, checked against the reader.

  report_browser_test.py simulator|hostile|compare --reader R --sim S --work-dir D [--emulator WORDS]

simulator: a simulator run's page shows the series, requests and records of
`summary --json`, series and requests in number order across request 10,000,
the rows and changes of `changes --json` per series; a click on a column shows
the request's lines as the files hold them, at the places `show --json` gives
(requests 9,999 and 10,000); a shift-click the diff of `diff --json`, also
with numbers ignored.
hostile: texts that are markup, script, quotes, control characters and bytes
that are not UTF-8, in a folder whose name is markup too, show as written and
nothing of them runs or becomes an element; the NUL line is a problem.
compare: the page of two runs (seeds 1 and 2) marks per row of A's preview
map as many requests as `compare --json` counts, exactly and with numbers
ignored; a click on a marked cell shows the diff of `diff --json A:N B:N`.

Exit status 0 passed, 1 failed, 77 skipped (no chromium).
"""

import argparse
import json
import os
import shlex
import shutil
import subprocess
import sys

from chromium_page import SHIFT, Chromium, find_chromium


# The simulator's requests cross from four digits to five, where their names
# sort out of number order as text.
CROSSING = 10000


class Failure(Exception):
    pass


def expect(condition, message):
    if not condition:
        raise Failure(message)


class Reader:
    def __init__(self, args):
        self.emulator = shlex.split(args.emulator or "")
        self.reader, self.sim = args.reader, args.sim
        self.env = dict(os.environ, XDG_CACHE_HOME=os.path.join(args.work_dir, "cache"))

    def run(self, *words, program=None, statuses=(0,)):
        result = subprocess.run(self.emulator + [program or self.reader, *words], env=self.env,
                                capture_output=True, text=True, errors="surrogateescape")
        expect(result.returncode in statuses,
               f"{' '.join(words)}: status {result.returncode}: {result.stderr}")
        return result.stdout

    def json_lines(self, *words, statuses=(0,)):
        return [json.loads(line) for line in self.run(*words, statuses=statuses).splitlines()]


def shown(data):
    """A text as the page shows it: "\\xNN" for a byte that is not UTF-8 and
    for a control character."""
    def one(char):
        code = ord(char)
        if 0xDC80 <= code <= 0xDCFF:
            return f"\\x{code - 0xDC00:02X}"
        return f"\\x{code:02X}" if code < 0x20 or code == 0x7F else char
    return "".join(one(char) for char in data.decode("utf-8", "surrogateescape"))


class Page:
    def __init__(self, browser, path):
        self.browser = browser
        browser.open(path)
        browser.wait_for("document.body && (document.body.dataset.ready || document.body.dataset.error)")
        expect(not self.value("document.body.dataset.error"), self.value("document.body.dataset.error"))

    def value(self, expression):
        return self.browser.evaluate(expression)

    def choose_series(self, index):
        self.value(f"(() => {{ const s = document.getElementById('series-select'); s.value = '{index}'; "
                   "s.dispatchEvent(new Event('change')); })()")
        return json.loads(self.browser.wait_for(
            f"document.getElementById('map-status').dataset.series === '{index}' && "
            "JSON.stringify(document.getElementById('map-status').dataset)"))

    def click_column(self, column, modifiers=0, row=0):
        """A real click in the map's row `row`, at the middle of `column`."""
        x, y = self.value(f"""(() => {{
            const s = document.getElementById('map-scroll'), d = s.dataset;
            s.scrollIntoView({{block: 'center'}});
            s.scrollLeft = {column} * d.cellWidth - 40;
            s.scrollTop = Math.max(0, {row} * d.rowHeight - 40);
            const box = s.getBoundingClientRect();
            return [box.x + +d.labelWidth + ({column} + 0.5) * d.cellWidth - s.scrollLeft,
                    box.y + +d.axisHeight + ({row} + 0.5) * d.rowHeight - s.scrollTop]; }})()""")
        self.browser.click(x, y, modifiers)

    def request_lines(self, request):
        self.browser.wait_for(f"document.getElementById('request-view').dataset.request === '{request}'")
        return self.value("[...document.querySelectorAll('#request-view tr')]"
                          ".map((row) => [row.dataset.place, row.cells[1].textContent])")

    def diff_entries(self):
        self.browser.wait_for("!!document.querySelector('#request-view .counts')")
        return self.value("[...document.querySelectorAll('#request-view .entry')].map((e) => "
                          "[e.dataset.change, e.dataset.group, e.dataset.key, +e.dataset.occurrence, "
                          "e.dataset.aSpan || null, e.dataset.bSpan || null])")


def differ(what, shown_list, expected_list):
    """Fails with the first item that differs."""
    for index, (got, wanted) in enumerate(zip(shown_list, expected_list)):
        expect(got == wanted, f"{what}, item {index}: the page shows {got!r}, the reader says {wanted!r}")
    expect(len(shown_list) == len(expected_list),
           f"{what}: the page has {len(shown_list)} items, the reader {len(expected_list)}")


def file_lines(path):
    with open(path, "rb") as file:
        return file.read().split(b"\n")


def expected_lines(reader, logs, series_key, request):
    lines = []
    for item in reader.json_lines("show", "--req", str(request), "--json", logs):
        if item["type"] in ("headline", "record") and item["series"] == series_key:
            text = shown(file_lines(item["file"])[item["line"] - 1])
            lines.append([f"{item['file']}:{item['line']}", text or "(empty headline)"])
    return lines


def diff_json(reader, *words):
    spans = lambda item, side: ",".join(map(str, item[side])) if side in item else None
    return [[d["change"], d["group"], d["key"], d["occurrence"], spans(d, "aSpan"), spans(d, "bSpan")]
            for d in reader.json_lines("diff", "--json", *words, statuses=(0, 1))]


def expected_diff(reader, logs, a, b, *flags):
    return diff_json(reader, *flags, "--req", str(a), "--req", str(b), logs)


def requests_of(summary):
    return [n for first, last in summary["requests"] for n in range(first, last + 1)]


def number_order(summary):
    return summary["timeStamp"], summary["uniqueKey"], summary["requestNum"], summary["tagNumber"]


def simulator_test(reader, work):
    logs, page_path = os.path.join(work, "logs"), os.path.join(work, "report.html")
    reader.run("--first-request", str(CROSSING - 10), "--duration", "1", "--capture-interval", "6",
               "--out", logs, "--quiet", program=reader.sim)
    series = [s for s in reader.json_lines("summary", "--json", logs) if s["type"] == "series"]
    expect(series == sorted(series, key=number_order), "the summary's series are not in number order")
    reader.run("report", logs, "-o", page_path)
    with Chromium() as browser:
        page = Page(browser, page_path)
        differ("series", page.value("[...document.querySelectorAll('#series-table .series-name')]"
                                    ".map((cell) => cell.textContent)"),
               [s["prefix"] + " " + s["timeStamp"] for s in series])
        expect(page.value("document.querySelectorAll('#series-select option').length") == len(series),
               "the page lists another number of series than the summary")
        for index, summary in enumerate(series):
            status = page.choose_series(index)
            files = [f["path"] for f in summary["files"]]
            keys = {(k["module"], k["key"]): k["changes"]
                    for k in reader.json_lines("changes", "--json", *files) if k["type"] == "key"}
            rows = page.value("[...document.querySelectorAll('#map-rows li')]"
                              ".map((li) => [li.dataset.module, li.dataset.key, +li.dataset.changes])")
            records = summary["decisionRecords"] + summary["executionRecords"] - summary["unknownRequestRecords"]
            expect(int(status["columns"]) == len(requests_of(summary)) and int(status["records"]) == records,
                   f"series {index}: the map has {status}, the summary {summary}")
            expect({(m, k): c for m, k, c in rows} == keys and int(status["rows"]) == len(keys),
                   f"series {index}: rows and changes {rows}, changes --json {keys}")
        largest = max(range(len(series)), key=lambda i: len(requests_of(series[i])))
        page.choose_series(largest)
        summary = series[largest]
        requests = requests_of(summary)
        key = summary["prefix"] + "_" + summary["timeStamp"]
        b = next(i for i, n in enumerate(requests) if n >= CROSSING)
        a = b - 1
        page.click_column(a)
        differ(f"request {requests[a]}", page.request_lines(requests[a]),
               expected_lines(reader, logs, key, requests[a]))
        page.click_column(b, SHIFT)
        differ(f"diff of {requests[a]} and {requests[b]}", page.diff_entries(),
               expected_diff(reader, logs, requests[a], requests[b]))
        page.value("document.getElementById('ignore-numbers').click()")
        differ("diff with numbers ignored", page.diff_entries(),
               expected_diff(reader, logs, requests[a], requests[b], "--ignore-numbers"))
        expect(not browser.complaints(), f"the browser complained: {browser.complaints()}")
    print(f"report: {len(series)} series as summarised; requests {requests[a]} and {requests[b]} "
          "shown and compared as the reader does")


HOSTILE_TEXTS = [
    b"</script><script>window.pwned = 2</script>",
    b"<img src=x onerror=\"window.pwned = 3\">",
    b"quotes \" ' ` and &amp; &lt; \\u003c",
    b"bytes \xff\xfe, cut \xc3( and \xe2\x82 here",
    b"tab\there, bell \x07, delete \x7f",
    "line\u2028separator \U0001F600".encode() + b"\xf0\x9f",
    b"<!-- <script>",
    b"",
]


def write_hostile_series(folder, request, texts):
    module = b"<b onmouseover=window.pwned=5>M</b>"
    lines = [b"[UKey: 7][ReqNum: %d], <svg onload=window.pwned=4>" % request]
    lines += [b"[SensorId: 0][ModuleName: %s][Decision: D%d] %s" % (module, i, t) for i, t in enumerate(texts)]
    lines.append(b"[ModuleName: M][Decision: X] a NUL \x00 byte")
    name = f"000000007_{request:04d}_0001_capture__2025_0102_03040{request}_TuningLog_01.txt"
    with open(os.path.join(folder, name), "wb") as file:
        file.write(b"\n".join(lines) + b"\n")
    return os.path.join(folder, name)


def hostile_test(reader, work):
    folder = os.path.join(work, "x</script><script>window.pwned=1</script>\"'&", "logs")
    os.makedirs(folder)
    first = write_hostile_series(folder, 3, HOSTILE_TEXTS)
    write_hostile_series(folder, 4, [text + b"!" for text in HOSTILE_TEXTS])
    page_path = os.path.join(work, "report.html")
    reader.run("report", folder, "-o", page_path)
    elements = "document.querySelectorAll('img, svg, b, iframe, object, embed').length"
    with Chromium() as browser:
        page = Page(browser, page_path)
        expect(page.value("document.getElementById('inputs').textContent") == "Read from " + folder,
               "the folder's name is not shown as written")
        page.choose_series(0)
        page.click_column(0)
        lines = file_lines(first)[:-2]  # without the NUL line and the end
        expected = [[f"{first}:{n}", shown(line)] for n, line in enumerate(lines, 1)]
        differ("request 3", page.request_lines(3), expected)
        page.choose_series(1)
        page.click_column(0, SHIFT)
        changed = page.diff_entries()
        expect(len(changed) == len(HOSTILE_TEXTS) + 1, f"the diff has {changed}")
        problems = page.value("document.getElementById('problem-list').textContent")
        expect(f"{first}:{len(lines) + 1}: contains a NUL byte" in problems, f"problems: {problems}")
        expect(page.value("window.pwned === undefined") and page.value(elements) == 0,
               "a text became an element or ran")
        expect(page.value("document.scripts.length") == 4, "the page has scripts of its own only")
        expect(not browser.complaints(), f"the browser complained: {browser.complaints()}")
    print("report: hostile texts shown as written, nothing ran")


def compare_test(reader, work):
    runs = [os.path.join(work, f"seed{seed}") for seed in (1, 2)]
    for seed, run in zip((1, 2), runs):  # one after the other, so that their series have names of their own
        reader.run("--scene", "street", "--first-request", "45", "--duration", "1", "--seed", str(seed),
                   "--out", run, "--quiet", program=reader.sim)
    page_path = os.path.join(work, "report.html")
    reader.run("report", *runs, "-o", page_path)
    series = [s for s in reader.json_lines("summary", "--json", *runs) if s["type"] == "series"]
    index = next(i for i, s in enumerate(series) if s["kind"] == "preview" and s["files"][0]["path"].startswith(runs[0]))
    differing = {}
    for mode, flags in (("exact", ()), ("ignoring", ("--ignore-numbers",))):
        differing[mode] = {(d["module"], d["key"]): d for d in reader.json_lines("compare", "--json", *flags, *runs,
                                                                                  statuses=(0, 1))
                           if d["type"] == "key-differs" and d["timeline"] == "preview" and d["module"] != "headline"}
    with Chromium() as browser:
        page = Page(browser, page_path)
        page.choose_series(index)
        for mode in ("exact", "ignoring"):
            if mode == "ignoring":
                page.value("document.getElementById('ignore-numbers').click()")
            rows = page.value("[...document.querySelectorAll('#map-rows li')]"
                              ".map((li) => [li.dataset.module, li.dataset.key, +li.dataset.differs])")
            marked = {(m, k): n for m, k, n in rows if n}
            expect(marked == {key: d["requests"] for key, d in differing[mode].items()},
                   f"{mode}: the map marks {marked}, compare says {differing[mode]}")
        face = differing["ignoring"][("FaceDetection", "Decision: TRIGGER_FEATURE")]
        row = [(m, k) for m, k, _ in rows].index(("FaceDetection", "Decision: TRIGGER_FEATURE"))
        page.click_column(requests_of(series[index]).index(face["first"]), row=row)
        pair = [f"{run}:{face['first']}" for run in runs]
        differ(f"the diff of request {face['first']} of A and B", page.diff_entries(),
               diff_json(reader, "--ignore-numbers", *pair))
        expect(not browser.complaints(), f"the browser complained: {browser.complaints()}")
    print(f"report of two runs: marks as compare counts them; request {face['first']} of both compared as diff does")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("test", choices=["simulator", "hostile", "compare"])
    parser.add_argument("--reader", required=True)
    parser.add_argument("--sim", required=True)
    parser.add_argument("--work-dir", required=True)
    parser.add_argument("--emulator", default="")
    args = parser.parse_args()
    if not find_chromium():
        print("SKIP: no chromium on PATH (scripts/install-deps installs it)")
        return 77
    shutil.rmtree(args.work_dir, ignore_errors=True)
    os.makedirs(args.work_dir)
    try:
        {"simulator": simulator_test, "hostile": hostile_test, "compare": compare_test}[args.test](
            Reader(args), args.work_dir)
    except Failure as failure:
        print(f"FAILED: {failure}")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
