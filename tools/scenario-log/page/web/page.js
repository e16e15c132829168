// The page: the overview, the map's tools, and the requests chosen on the map
// (A by a click, B by a shift-click) with their diff.
//
// For tests and measurements the page states what it shows in attributes:
// body[data-ready] the milliseconds from navigation until the first map was
// drawn (or the overview, without series), body[data-error] a script error;
// #map-status[data-series|rows|columns|records] the map's series and counts,
// #map-rows the rows shown, each with its module, key and changes;
// #request-view[data-view|series|request]; and each diff entry its change,
// group, key, occurrence and marked spans. With two runs compared (`report A
// B`), each row of #map-rows also says in how many requests B differs.

/* global readOverview, loadSeries, appendText, DecisionMap, requestItems, diffRequests */

const CACHED_SERIES = 4;

const page = {
  overview: null,
  summaries: [],
  cache: new Map(),
  series: null,
  map: null,
  a: null,
  b: null,
  view: "a",
  focusRow: null,
  compare: null,
};

function element(tag, className, text) {
  const node = document.createElement(tag);
  if (className) node.className = className;
  if (text !== undefined) appendText(node, String(text));
  return node;
}

function byId(id) {
  return document.getElementById(id);
}

function showError(message) {
  document.body.dataset.error = message;
  const box = byId("page-error");
  box.textContent = "The page failed: " + message;
  box.hidden = false;
}

// "3, 7-9, 12", as the summary writes request numbers.
function rangesText(runs) {
  if (runs.length === 0) return "-";
  return runs.map(([first, last]) => (first === last ? String(first) : first + "-" + last)).join(", ");
}

function requestCount(summary) {
  return summary.requests.reduce((sum, [first, last]) => sum + last - first + 1, 0);
}

function seriesName(summary) {
  return summary.kind + " " + summary.prefix + " " + summary.timeStamp;
}

function renderOverview() {
  const overview = page.overview;
  appendText(byId("inputs"), "Read from " + overview.inputs.join(", "));
  document.title = "Tuning log report: " + overview.inputs.join(", ");
  const totals = overview.summary.find((line) => line.type === "totals");
  appendText(byId("totals"), totals.series + " series, " + totals.files + " files, " + totals.records +
    " records (" + totals.unknownRequestRecords + " of unknown request), " + totals.problems + " problems");
  const body = byId("series-table").tBodies[0];
  const modules = new Map();
  page.summaries.forEach((summary, index) => {
    const row = body.insertRow();
    row.dataset.series = index;
    const files = element("td", "number", summary.files.length);
    files.title = summary.files.map((file) => file.path).join("\n");
    row.append(element("td", "", summary.kind), element("td", "series-name", summary.prefix + " " + summary.timeStamp),
      element("td", "", summary.uniqueKey), element("td", "", rangesText(summary.requests)), files,
      element("td", "number", summary.decisionRecords + summary.executionRecords),
      element("td", "number", summary.unknownRequestRecords), element("td", "number", summary.problems));
    row.addEventListener("click", () => chooseSeries(index));
    for (const [name, count] of Object.entries(summary.modules)) modules.set(name, (modules.get(name) || 0) + count);
  });
  const moduleBody = byId("module-table").tBodies[0];
  for (const name of [...modules.keys()].sort()) {
    moduleBody.insertRow().append(element("td", "", name), element("td", "number", modules.get(name)));
  }
  const problems = byId("problem-list");
  for (const problem of overview.problems) {
    const place = problem.line === null ? problem.file : problem.file + ":" + problem.line;
    problems.appendChild(element("li", "", place + ": " + problem.reason));
  }
  if (overview.problems.length === 0) problems.appendChild(element("li", "none", "none"));
  if (page.compare) {
    const note = byId("compare-note");
    appendText(note, "B (" + page.compare.b + ") compared with A (" + page.compare.a + "): in the maps of A's " +
      "series a red bar under a cell marks a request where B's text of the key differs (with ignore numbers, " +
      "beyond its numbers); a click on it shows the diff of A's and B's request.");
    note.hidden = false;
  }
  const select = byId("series-select");
  page.summaries.forEach((summary, index) => {
    const option = element("option", "", seriesName(summary) + " \u2014 " + requestCount(summary) + " requests");
    option.value = index;
    select.appendChild(option);
  });
}

function getSeries(index) {
  if (!page.cache.has(index)) {
    page.cache.set(index, loadSeries(index, page.summaries[index]));
    const pinned = [page.series, page.a && page.a.series, page.b && page.b.series].filter(Boolean).map((s) => s.index);
    for (const key of page.cache.keys()) {
      if (page.cache.size <= CACHED_SERIES) break;
      if (key !== index && !pinned.includes(key)) page.cache.delete(key);
    }
  }
  return page.cache.get(index);
}

async function chooseSeries(index) {
  byId("series-select").value = index;
  for (const row of byId("series-table").tBodies[0].rows) row.classList.toggle("chosen", Number(row.dataset.series) === index);
  byId("map-status").textContent = "Reading the series\u2026";
  const series = await getSeries(index);
  page.series = series;
  const filter = byId("module-filter");
  const wanted = filter.value;
  while (filter.options.length > 1) filter.remove(1);
  for (const module of [...new Set(series.rows.map((row) => row.module))].sort()) {
    const option = element("option", "", module);
    option.value = module;
    filter.appendChild(option);
  }
  filter.value = [...filter.options].some((option) => option.value === wanted) ? wanted : "";
  showRows();
  updateChoiceMarks();
}

function ignoreNumbers() {
  return byId("ignore-numbers").checked;
}

// The rows that pass the module filter and the search, in the chosen order.
function showRows() {
  const series = page.series;
  if (!series) return;
  const module = byId("module-filter").value;
  const query = byId("text-filter").value.trim().toLowerCase();
  const keyMatches = (row) => (row.module + " " + row.label).toLowerCase().includes(query);
  const textMatches = (text) => text.toLowerCase().includes(query);
  let rows = series.rows.filter((row) => !module || row.module === module);
  if (query) rows = rows.filter((row) => keyMatches(row) || row.distinct.some((value) => textMatches(series.valueText(value))));
  const byKey = (x, y) => compare(x.module, y.module) || compare(x.label, y.label);
  const sort = byId("row-sort").value;
  const changes = new Map(rows.map((row) => [row, series.changes(row, ignoreNumbers())]));
  const direction = sort === "most" ? -1 : 1;
  rows.sort((x, y) => (sort === "key" ? 0 : direction * (changes.get(x) - changes.get(y))) || byKey(x, y));
  page.map.setIgnoreNumbers(ignoreNumbers());
  page.map.setMarks(page.compare ? (row) => rowMarks(series, row).columns : null);
  page.map.setFilter(query ? keyMatches : null, query ? textMatches : null);
  page.map.show(series, rows);
  listRows(rows, changes);
  const status = byId("map-status");
  status.textContent = "";
  appendText(status, seriesName(series.summary) + ": " + rows.length + " of " + series.rows.length + " rows \u00d7 " +
    series.columns.length + " requests, " + series.records + " records" +
    (series.summary.unknownRequestRecords ? " (" + series.summary.unknownRequestRecords +
      " records of unknown request are not in the map)" : ""));
  Object.assign(status.dataset, {
    series: series.index, rows: series.rows.length, shownRows: rows.length,
    columns: series.columns.length, records: series.records,
  });
}

// The rows in words, for a screen reader (the canvas has none).
function listRows(rows, changes) {
  const list = byId("map-rows");
  list.textContent = "";
  for (const row of rows) {
    const differs = page.compare ? rowMarks(page.series, row).requests : null;
    const item = element("li", "", row.module + " " + row.label + ": " + row.distinct.length + " distinct texts, " +
      changes.get(row) + " changes" + (differs === null ? "" : ", B differs in " + differs + " requests"));
    Object.assign(item.dataset, {module: row.module, key: row.label, changes: changes.get(row)});
    if (differs !== null) item.dataset.differs = differs;
    list.appendChild(item);
  }
}

function compare(x, y) {
  return x < y ? -1 : x > y ? 1 : 0;
}

// The requests of a row of A's map where B's text differs, in the mode of
// the ignore-numbers box: their count, and the runs of columns they make.
function rowMarks(series, row) {
  const mode = ignoreNumbers() ? 1 : 0;
  if (!row.compareMarks) {
    const marks = page.compare.marks.get(series.index + "\n" + row.module + "\n" + row.label) || [[], []];
    row.compareMarks = marks.map((runs) => ({
      requests: runs.reduce((sum, [first, last]) => sum + last - first + 1, 0),
      columns: runs.map(([first, last]) => [columnOf(series, first), columnOf(series, last + 1) - 1]),
    }));
  }
  return row.compareMarks[mode];
}

// The first column of a request at or after `request`.
function columnOf(series, request) {
  let [low, high] = [0, series.columns.length];
  while (low < high) {
    const middle = (low + high) >> 1;
    if (series.columns[middle] < request) low = middle + 1; else high = middle;
  }
  return low;
}

function readCompare(data) {
  if (!data) return null;
  const marks = new Map();
  for (const [series, module, label, exact, ignoring] of data.marks) {
    marks.set(series + "\n" + module + "\n" + label, [exact, ignoring]);
  }
  return {a: data.a, b: data.b, pairs: data.pairs, marks};
}

// The diff of request `column` of A's series and the same request of B, if
// B differs there.
async function openPair(column, row) {
  const series = page.series;
  const request = series.columns[column];
  if (!rowMarks(series, row).columns.some(([from, to]) => from <= column && column <= to)) return false;
  const pair = page.compare.pairs.find(([a, , runs]) =>
    a === series.index && runs.some(([first, last]) => first <= request && request <= last));
  if (!pair) return false;
  const other = await getSeries(pair[1]);
  if (page.series !== series) return true;
  Object.assign(page, {a: {series, column}, b: {series: other, column: columnOf(other, request)}, view: "diff",
    focusRow: row});
  updateChoiceMarks();
  renderRequests();
  return true;
}

function onPick(column, shift, row) {
  if (!shift && row && page.compare) {
    openPair(column, row).then((opened) => opened || pick(column, shift, row));
    return;
  }
  pick(column, shift, row);
}

function pick(column, shift, row) {
  const choice = {series: page.series, column};
  if (shift && page.a) {
    page.b = choice;
    page.view = "diff";
  } else {
    page.a = choice;
    page.view = "a";
    page.focusRow = row;
  }
  page.map.scroll.focus({preventScroll: true});
  updateChoiceMarks();
  renderRequests();
}

function updateChoiceMarks() {
  const column = (choice) => (choice && choice.series === page.series ? choice.column : -1);
  page.map.setChoice(column(page.a), column(page.b));
}

function choiceTitle(choice) {
  return "request " + choice.series.columns[choice.column] + " of " + seriesName(choice.series.summary);
}

function renderRequests() {
  byId("show-a").disabled = !page.a;
  byId("show-b").disabled = !page.b;
  byId("show-diff").disabled = !(page.a && page.b);
  byId("swap").disabled = !(page.a && page.b);
  for (const [id, view] of [["show-a", "a"], ["show-b", "b"], ["show-diff", "diff"]]) {
    byId(id).classList.toggle("active", page.view === view);
  }
  const view = byId("request-view");
  view.textContent = "";
  view.dataset.view = page.view;
  if (page.view === "diff") {
    renderDiff(view);
  } else {
    renderRequest(view, page.view === "a" ? page.a : page.b, page.view);
  }
}

function renderRequest(view, choice, name) {
  if (!choice) return;
  const lines = choice.series.lines(choice.column);
  const records = lines.filter((line) => !line.headline).length;
  Object.assign(view.dataset, {series: choice.series.index, request: choice.series.columns[choice.column]});
  const head = element("div", "request-head");
  head.append(element("span", "choice " + name, name.toUpperCase()),
    element("span", "", choiceTitle(choice) + ": " + records + " records"));
  const table = element("table", "lines");
  let focused = null;
  for (const line of lines) {
    const row = table.insertRow();
    row.className = line.headline ? "headline" : "";
    row.dataset.place = line.file + ":" + line.line;
    const place = element("td", "place", line.file.replace(/^.*\//, "") + ":" + line.line);
    place.title = line.file;
    row.append(place, element("td", "line", line.headline && !line.text ? "" : line.text));
    if (line.headline && !line.text) row.cells[1].appendChild(element("span", "hint", "(empty headline)"));
    if (line.row && line.row === page.focusRow && name === "a") {
      row.classList.add("focus");
      focused = focused || row;
    }
  }
  view.append(head, table);
  // Within the view only: the map stays where it is.
  if (focused) view.scrollTop = focused.offsetTop - view.clientHeight / 3;
}

// The text with its span [begin, end) marked; a thin bar where the other
// text has more.
function markedText(parent, text, [begin, end], className) {
  appendText(parent, text.slice(0, begin));
  const mark = element("mark", begin === end ? "gap" : className);
  appendText(mark, text.slice(begin, end));
  parent.appendChild(mark);
  appendText(parent, text.slice(end));
}

function renderDiff(view) {
  const [a, b] = [page.a, page.b];
  const linesA = a.series.lines(a.column);
  const linesB = b.series.lines(b.column);
  const diff = diffRequests(requestItems(linesA), requestItems(linesB), ignoreNumbers());
  const box = element("div", "diff");
  const records = (lines) => lines.filter((line) => !line.headline).length;
  box.append(element("div", "sides", "--- A: " + choiceTitle(a) + " (" + records(linesA) + " records)"),
    element("div", "sides", "+++ B: " + choiceTitle(b) + " (" + records(linesB) + " records)"));
  const marks = {onlyA: "-", onlyB: "+", changed: "~"};
  for (const group of diff.groups) {
    box.appendChild(element("div", "group", "== " + group.name));
    for (const difference of group.differences) {
      const entry = element("div", "entry " + difference.change);
      Object.assign(entry.dataset, {
        change: difference.change, group: group.name, key: difference.label, occurrence: difference.occurrence,
      });
      entry.append(element("span", "mark", marks[difference.change]),
        element("span", "", difference.label + " #" + difference.occurrence));
      const only = difference.a || difference.b;
      if (difference.change !== "changed") {
        const text = element("span", "", "  " + only.text);
        text.title = only.place;
        entry.appendChild(text);
      } else {
        entry.dataset.aSpan = difference.spans.a.join(",");
        entry.dataset.bSpan = difference.spans.b.join(",");
        for (const [who, item, span, className] of [["A: ", difference.a, difference.spans.a, "removed"],
          ["B: ", difference.b, difference.spans.b, "added"]]) {
          const side = element("div", "side");
          side.title = item.place;
          side.appendChild(element("span", "who", who));
          markedText(side, item.text, span, className);
          entry.appendChild(side);
        }
      }
      box.appendChild(entry);
    }
  }
  const counts = diff.counts;
  const identical = counts.onlyA + counts.onlyB + counts.changed === 0;
  box.appendChild(element("div", "counts", identical ? "identical" : counts.onlyA + " only in A, " + counts.onlyB +
    " only in B, " + counts.changed + " changed"));
  view.appendChild(box);
}

function wireTools() {
  byId("series-select").addEventListener("change", (event) => chooseSeries(Number(event.target.value)));
  let typing = 0;
  byId("text-filter").addEventListener("input", () => {
    clearTimeout(typing);
    typing = setTimeout(showRows, 150);
  });
  for (const id of ["module-filter", "row-sort"]) byId(id).addEventListener("change", showRows);
  byId("ignore-numbers").addEventListener("change", () => {
    showRows();
    if (page.view === "diff") renderRequests();
  });
  byId("zoom-in").addEventListener("click", () => page.map.zoom(2));
  byId("zoom-out").addEventListener("click", () => page.map.zoom(0.5));
  byId("zoom-fit").addEventListener("click", () => page.map.fitAll());
  for (const [id, view] of [["show-a", "a"], ["show-b", "b"], ["show-diff", "diff"]]) {
    byId(id).addEventListener("click", () => {
      page.view = view;
      renderRequests();
    });
  }
  byId("swap").addEventListener("click", () => {
    [page.a, page.b] = [page.b, page.a];
    updateChoiceMarks();
    renderRequests();
  });
}

function markReady() {
  requestAnimationFrame(() => {
    document.body.dataset.ready = performance.now().toFixed(0);
  });
}

async function start() {
  window.addEventListener("error", (event) => showError(event.message));
  window.addEventListener("unhandledrejection", (event) => showError(String(event.reason)));
  page.overview = readOverview();
  page.summaries = page.overview.summary.filter((line) => line.type === "series");
  page.compare = readCompare(page.overview.compare);
  renderOverview();
  page.map = new DecisionMap(onPick);
  wireTools();
  if (page.summaries.length === 0) {
    byId("map-status").textContent = "No series: the inputs held no tuning log file.";
    markReady();
    return;
  }
  let largest = 0;
  page.summaries.forEach((summary, index) => {
    if (requestCount(summary) > requestCount(page.summaries[largest])) largest = index;
  });
  await chooseSeries(largest);
  markReady();
}

start().catch((error) => showError(String(error)));
