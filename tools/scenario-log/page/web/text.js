// The page's data and how log texts are shown.
//
// The data (written by HtmlReport.cpp): an "overview-data" JSON element with the
// inputs, the series and problems as `summary --json` prints them, and per
// series a "series-N" element holding the object of SeriesTable.h, deflated
// and in base64. Log texts are bytes: a byte that is not valid UTF-8 arrives
// as a lone surrogate U+DC80..U+DCFF (no valid UTF-8 decodes to one), so two
// texts are equal here exactly when their bytes are. Every text goes into the
// page as text (textContent), never as markup.

/* exported readOverview, loadSeries, appendText, textShape */

function readOverview() {
  return JSON.parse(document.getElementById("overview-data").textContent);
}

async function inflateElement(id) {
  const binary = atob(document.getElementById(id).textContent);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < binary.length; i++) bytes[i] = binary.charCodeAt(i);
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream("deflate"));
  return JSON.parse(await new Response(stream).text());
}

// Texts that differ only in their runs of digits have one shape; the rule of
// `--ignore-numbers` (TextCompare.h).
function textShape(text) {
  return text.replace(/[0-9]+/g, "0");
}

// One series: its rows, its columns (request numbers) and the cells.
class Series {
  constructor(index, summary, raw) {
    this.index = index;
    this.summary = summary;
    this.files = raw.files;
    this.texts = raw.texts;
    this.joins = raw.joins;
    this.blocks = raw.blocks;
    this.columns = expandRuns(raw.columns);
    this.rows = raw.rows.map((row, i) => this.decodeRow(i, row, raw.dict[i], raw.cells[i]));
    this.records = 0;
    for (const row of this.rows) this.records += row.records;
  }

  // A row's cell values (2*T for text T, 2*J+1 for join J, -1 for none) and
  // its colours: a cell's colour is the rank of its value among the row's
  // distinct values in order of first use.
  decodeRow(index, [module, label, head], deltas, runs) {
    const count = this.columns.length;
    const values = new Int32Array(count).fill(-1);
    const exact = new Int32Array(count).fill(-1);
    const distinct = [];
    let value = 0;
    for (const delta of deltas) {
      value += delta;
      distinct.push(value);
    }
    let column = 0;
    let next = 0;
    let records = 0;
    for (let i = 0; i < runs.length; i += 2) {
      const [length, code] = [runs[i], runs[i + 1]];
      for (let k = 0; k < length; k++, column++) {
        if (code === 0) continue;
        const rank = code === 1 ? next++ : code - 2;
        values[column] = distinct[rank];
        exact[column] = rank;
        records += distinct[rank] % 2 === 0 ? 1 : this.joins[(distinct[rank] - 1) / 2].length;
      }
    }
    return {index, module, label, head, values, distinct, records, colours: {exact, loose: null}, changes: {}};
  }

  // The texts of a cell value (a text, or a join of several), in written order.
  valueTexts(value) {
    if (value % 2 === 0) return [this.texts[value / 2]];
    return this.joins[(value - 1) / 2].map((text) => this.texts[text]);
  }

  // The texts of a cell, in written order; empty where it has no record.
  cellTexts(row, column) {
    const value = row.values[column];
    return value < 0 ? [] : this.valueTexts(value);
  }

  // A cell's text as `changes` takes it: its records' texts joined by " | ".
  cellText(row, column) {
    return this.cellTexts(row, column).join(" | ");
  }

  valueText(value) {
    return this.valueTexts(value).join(" | ");
  }

  // The colours of a row, with or without numbers taken as equal.
  colours(row, ignoreNumbers) {
    if (!ignoreNumbers) return row.colours.exact;
    if (!row.colours.loose) {
      const ranks = new Map();
      const byExact = row.distinct.map((value) => {
        const shape = textShape(this.valueText(value));
        if (!ranks.has(shape)) ranks.set(shape, ranks.size);
        return ranks.get(shape);
      });
      row.colours.loose = row.colours.exact.map((rank) => (rank < 0 ? -1 : byExact[rank]));
    }
    return row.colours.loose;
  }

  // How often a row's text changes from one request that has the key to the next.
  changes(row, ignoreNumbers) {
    const mode = ignoreNumbers ? "loose" : "exact";
    if (row.changes[mode] === undefined) {
      let [last, changes] = [-1, 0];
      for (const colour of this.colours(row, ignoreNumbers)) {
        if (colour < 0) continue;
        if (last >= 0 && colour !== last) changes++;
        last = colour;
      }
      row.changes[mode] = changes;
    }
    return row.changes[mode];
  }

  // The lines of a column's request in written order: headlines and records,
  // each with its file and line (the block stream of SeriesTable.h).
  lines(column) {
    const ops = this.blocks[column];
    const text = (id) => (id < 0 ? "" : this.texts[id]);
    const seen = new Map();
    const lines = [];
    let [file, line, prefix] = [0, 0, ""];
    let i = 0;
    while (i < ops.length) {
      const op = ops[i];
      if (op === -1) {
        [file, line, prefix] = [ops[i + 1], ops[i + 2], ""];
        const [ndd, snippets] = [text(ops[i + 3]), text(ops[i + 4])];
        lines.push({file: this.files[file], line: line++, headline: true, ndd, snippets, text: ndd + snippets});
        i += 5;
      } else if (op === -2 || op === -4) {
        [file, line] = [ops[i + 1], ops[i + 2]];
        if (op === -2) prefix = "";
        i += 3;
      } else if (op === -3) {
        prefix = text(ops[i + 1]);
        i += 2;
      } else {
        const row = this.rows[op];
        const occurrence = seen.get(op) || 0;
        seen.set(op, occurrence + 1);
        const recordText = this.cellTexts(row, column)[occurrence];
        lines.push({file: this.files[file], line: line++, row, recordText, text: prefix + row.head + " " + recordText});
        i += 1;
      }
    }
    return lines;
  }
}

// [first, last] runs to the numbers they hold.
function expandRuns(runs) {
  let count = 0;
  for (const [first, last] of runs) count += last - first + 1;
  const numbers = new Int32Array(count);
  let i = 0;
  for (const [first, last] of runs) {
    for (let n = first; n <= last; n++) numbers[i++] = n;
  }
  return numbers;
}

async function loadSeries(index, summary) {
  return new Series(index, summary, await inflateElement("series-" + index));
}

function hex(code) {
  return "\\x" + code.toString(16).toUpperCase().padStart(2, "0");
}

// Appends `text` to `parent` as text nodes. A byte that is not UTF-8 shows as
// "\xNN" on red, a control character as "\xNN" on grey, so that nothing of a
// text is dropped or taken for something else.
function appendText(parent, text) {
  let plain = "";
  const flush = () => {
    if (plain) parent.appendChild(document.createTextNode(plain));
    plain = "";
  };
  for (let i = 0; i < text.length; i++) {
    const code = text.charCodeAt(i);
    const afterHigh = i > 0 && text.charCodeAt(i - 1) >= 0xd800 && text.charCodeAt(i - 1) <= 0xdbff;
    const invalid = code >= 0xdc80 && code <= 0xdcff && !afterHigh;
    const control = code < 0x20 || code === 0x7f;
    if (!invalid && !control) {
      plain += text[i];
      continue;
    }
    flush();
    const span = document.createElement("span");
    span.className = invalid ? "byte" : "control";
    span.textContent = hex(invalid ? code - 0xdc00 : code);
    span.title = invalid ? "byte that is not UTF-8" : "control character";
    parent.appendChild(span);
  }
  flush();
  return parent;
}
