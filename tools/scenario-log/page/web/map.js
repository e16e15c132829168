// The decision map: one row per key, one column per request, drawn on a
// canvas the size of the view, never a node per cell. The canvas lies over a
// scrolling box whose content has the size of the whole map, so scrolling,
// scroll bars and pointer positions are the browser's own; each frame paints
// the visible rows into pixels: per pixel column, the colour of the request
// under it, darker when several requests with different texts share it.

/* global appendText */
/* exported DecisionMap */

const LABEL_WIDTH = 320;
const AXIS_HEIGHT = 24;
const ROW_HEIGHT = 17;
const MAX_FIT_WIDTH = 28;
const MAX_CELL_WIDTH = 64;
const MIN_TICK_SPACING = 64;

// Colours by rank of first use in a row: a calm one for a row's first text, so
// that the texts after it stand out; after 24, the colours repeat.
const PALETTE = [
  "#a5bfd6", "#f28e2b", "#59a14f", "#e15759", "#b07aa1", "#edc948",
  "#76b7b2", "#ff9da7", "#9c755f", "#4e79a7", "#8cd17d", "#d4a6c8",
  "#5e81a3", "#c46d1b", "#3d7a36", "#b23a3c", "#845a7a", "#b89a1e",
  "#4f8b86", "#d46f7b", "#70533f", "#2f5b85", "#5ea354", "#a77d9c",
];
const EMPTY = "#eef1f4";
const MARK = "#cf222e";
const BACKGROUND = "#ffffff";

// "#rrggbb" as the 32-bit pixel of an ImageData (bytes R, G, B, A in memory).
function pixel(colour, scale = 1, towardWhite = 0) {
  const channel = (at) => {
    const value = parseInt(colour.slice(at, at + 2), 16) * scale;
    return Math.round(value + (255 - value) * towardWhite);
  };
  return ((255 << 24) | (channel(5) << 16) | (channel(3) << 8) | channel(1)) >>> 0;
}

const PIXELS = {
  plain: PALETTE.map((colour) => pixel(colour)),
  mixed: PALETTE.map((colour) => pixel(colour, 0.72)),
  dim: PALETTE.map((colour) => pixel(colour, 1, 0.78)),
  empty: pixel(EMPTY),
  emptyMixed: pixel(EMPTY, 0.85),
  background: pixel(BACKGROUND),
};

class DecisionMap {
  constructor(onPick) {
    this.onPick = onPick;
    this.frame = document.getElementById("map-frame");
    this.canvas = document.getElementById("map-canvas");
    this.scroll = document.getElementById("map-scroll");
    this.spacer = document.getElementById("map-spacer");
    this.tooltip = document.getElementById("tooltip");
    this.context = this.canvas.getContext("2d");
    this.series = null;
    this.rows = [];
    this.ignoreNumbers = false;
    this.keyMatches = null;
    this.textMatches = null;
    this.cellWidth = 1;
    this.fit = true;
    this.choice = {a: -1, b: -1};
    this.hover = null;
    this.drawPending = false;
    this.image = null;
    this.marksOf = null;
    this.listen();
  }

  listen() {
    this.scroll.addEventListener("scroll", () => this.requestDraw());
    this.scroll.addEventListener("mousemove", (event) => this.onMove(event));
    this.scroll.addEventListener("mouseleave", () => this.setHover(null));
    this.scroll.addEventListener("click", (event) => {
      const cell = this.cellAt(event);
      if (cell && cell.column >= 0) this.onPick(cell.column, event.shiftKey, cell.row);
    });
    this.scroll.addEventListener("keydown", (event) => this.onKey(event));
    this.scroll.addEventListener("wheel", (event) => {
      if (!event.ctrlKey) return;
      event.preventDefault();
      this.zoom(event.deltaY < 0 ? 2 : 0.5, event.clientX);
    }, {passive: false});
    window.addEventListener("resize", () => this.layout());
  }

  // A series, and the rows to show, in order.
  show(series, rows) {
    if (series !== this.series) {
      this.series = series;
      this.fit = true;
      this.choice = {a: -1, b: -1};
      this.scroll.scrollLeft = 0;
      this.scroll.scrollTop = 0;
    }
    this.rows = rows;
    this.layout();
  }

  // Dims the cells whose text does not match: keyMatches(row) says a row
  // matches as a whole, textMatches(text) a text.
  setFilter(keyMatches, textMatches) {
    this.keyMatches = keyMatches;
    this.textMatches = textMatches;
    if (this.series) {
      for (const row of this.series.rows) row.matches = null;
    }
    this.requestDraw();
  }

  // marksOf(row): the [first, last] column runs to mark under the row's
  // cells (where another run differs), or null.
  setMarks(marksOf) {
    this.marksOf = marksOf;
    this.requestDraw();
  }

  setIgnoreNumbers(ignore) {
    this.ignoreNumbers = ignore;
    this.requestDraw();
  }

  setChoice(a, b) {
    this.choice = {a, b};
    for (const column of [b, a]) {
      if (column >= 0) this.reveal(column);
    }
    this.requestDraw();
  }

  columnCount() {
    return this.series ? this.series.columns.length : 0;
  }

  gridWidth() {
    return Math.max(1, this.scroll.clientWidth - LABEL_WIDTH);
  }

  layout() {
    const wanted = AXIS_HEIGHT + Math.max(1, this.rows.length) * ROW_HEIGHT + 18;
    this.frame.style.height = Math.min(wanted, Math.max(220, window.innerHeight * 0.7)) + "px";
    if (this.fit) this.cellWidth = Math.min(MAX_FIT_WIDTH, this.gridWidth() / Math.max(1, this.columnCount()));
    this.spacer.style.width = LABEL_WIDTH + this.columnCount() * this.cellWidth + "px";
    this.spacer.style.height = AXIS_HEIGHT + this.rows.length * ROW_HEIGHT + "px";
    const ratio = window.devicePixelRatio || 1;
    const [width, height] = [this.scroll.clientWidth, this.scroll.clientHeight];
    this.canvas.style.width = width + "px";
    this.canvas.style.height = height + "px";
    this.canvas.width = Math.round(width * ratio);
    this.canvas.height = Math.round(height * ratio);
    this.image = null;
    Object.assign(this.scroll.dataset, {
      labelWidth: LABEL_WIDTH, axisHeight: AXIS_HEIGHT, rowHeight: ROW_HEIGHT, cellWidth: this.cellWidth,
    });
    this.requestDraw();
  }

  // Zooms by `factor`, keeping the request under `clientX` in place.
  zoom(factor, clientX) {
    const fitWidth = Math.min(MAX_FIT_WIDTH, this.gridWidth() / Math.max(1, this.columnCount()));
    const width = Math.min(MAX_CELL_WIDTH, Math.max(fitWidth, this.cellWidth * factor));
    const box = this.scroll.getBoundingClientRect();
    const anchor = clientX === undefined ? this.gridWidth() / 2 : Math.max(0, clientX - box.left - LABEL_WIDTH);
    const column = (anchor + this.scroll.scrollLeft) / this.cellWidth;
    this.fit = width <= fitWidth;
    this.cellWidth = width;
    this.layout();
    this.scroll.scrollLeft = column * width - anchor;
  }

  fitAll() {
    this.fit = true;
    this.layout();
  }

  // Scrolls so that `column` is in view.
  reveal(column) {
    const left = column * this.cellWidth;
    const view = this.scroll.scrollLeft;
    if (left < view || left + this.cellWidth > view + this.gridWidth()) {
      this.scroll.scrollLeft = left - this.gridWidth() / 2;
    }
  }

  // The row and column under a pointer event; column -1 over the labels.
  cellAt(event) {
    if (!this.series) return null;
    const box = this.scroll.getBoundingClientRect();
    const [x, y] = [event.clientX - box.left, event.clientY - box.top];
    if (x >= this.scroll.clientWidth || y >= this.scroll.clientHeight) return null;
    const rowIndex = y < AXIS_HEIGHT ? -1 : Math.floor((y - AXIS_HEIGHT + this.scroll.scrollTop) / ROW_HEIGHT);
    const row = rowIndex >= 0 && rowIndex < this.rows.length ? this.rows[rowIndex] : null;
    let column = -1;
    if (x >= LABEL_WIDTH) {
      column = Math.floor((x - LABEL_WIDTH + this.scroll.scrollLeft) / this.cellWidth);
      if (column >= this.columnCount()) return null;
    }
    return {row, column, clientX: event.clientX, clientY: event.clientY};
  }

  onMove(event) {
    this.setHover(this.cellAt(event));
  }

  onKey(event) {
    const steps = {ArrowLeft: -1, ArrowRight: 1};
    if (!(event.key in steps) || !this.series) return;
    event.preventDefault();
    const current = event.shiftKey ? this.choice.b : this.choice.a;
    const start = current >= 0 ? current : this.choice.a;
    const column = Math.min(this.columnCount() - 1, Math.max(0, start + steps[event.key]));
    this.onPick(column, event.shiftKey, null);
  }

  setHover(cell) {
    this.hover = cell;
    this.showTooltip(cell);
    this.requestDraw();
  }

  showTooltip(cell) {
    const tip = this.tooltip;
    if (!cell || (!cell.row && cell.column < 0)) {
      tip.hidden = true;
      return;
    }
    tip.textContent = "";
    const head = document.createElement("div");
    if (cell.column >= 0) head.textContent = "request " + this.series.columns[cell.column];
    tip.appendChild(head);
    if (cell.row) {
      const key = document.createElement("div");
      key.className = "key";
      appendText(key, cell.row.module + "  " + cell.row.label);
      tip.appendChild(key);
      const text = document.createElement("div");
      text.className = "text";
      if (cell.column < 0) {
        const changes = this.series.changes(cell.row, this.ignoreNumbers);
        text.textContent = cell.row.distinct.length + " distinct texts, " + changes + " changes";
      } else if (cell.row.values[cell.column] < 0) {
        text.textContent = "(no record)";
      } else {
        appendText(text, this.series.cellText(cell.row, cell.column));
      }
      tip.appendChild(text);
    }
    tip.hidden = false;
    const x = Math.min(cell.clientX + 14, window.innerWidth - tip.offsetWidth - 8);
    const y = cell.clientY + 18 + tip.offsetHeight > window.innerHeight ? cell.clientY - tip.offsetHeight - 10 : cell.clientY + 18;
    tip.style.left = Math.max(4, x) + "px";
    tip.style.top = Math.max(4, y) + "px";
  }

  requestDraw() {
    if (this.drawPending) return;
    this.drawPending = true;
    requestAnimationFrame(() => {
      this.drawPending = false;
      this.draw();
    });
  }

  draw() {
    const context = this.context;
    const ratio = window.devicePixelRatio || 1;
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.fillStyle = BACKGROUND;
    context.fillRect(0, 0, this.canvas.width, this.canvas.height);
    if (!this.series) return;
    this.drawCells(ratio);
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    this.drawMarks();
    this.drawChoices();
    this.drawLabels();
    this.drawAxis();
  }

  // The cells of the visible rows, pixel by pixel.
  drawCells(ratio) {
    const left = Math.round(LABEL_WIDTH * ratio);
    const top = Math.round(AXIS_HEIGHT * ratio);
    const width = this.canvas.width - left;
    const height = this.canvas.height - top;
    if (width <= 0 || height <= 0) return;
    if (!this.image || this.image.width !== width || this.image.height !== height) {
      this.image = this.context.createImageData(width, height);
    }
    const pixels = new Uint32Array(this.image.data.buffer);
    pixels.fill(PIXELS.background);
    const spans = this.pixelColumns(width, ratio);
    const line = new Uint32Array(width);
    const scrollTop = this.scroll.scrollTop;
    const first = Math.max(0, Math.floor(scrollTop / ROW_HEIGHT));
    const last = Math.min(this.rows.length, Math.ceil((scrollTop + height / ratio) / ROW_HEIGHT));
    for (let index = first; index < last; index++) {
      this.paintRow(this.rows[index], spans, line);
      const y0 = Math.max(0, Math.round((index * ROW_HEIGHT - scrollTop) * ratio));
      const y1 = Math.min(height, Math.round(((index + 1) * ROW_HEIGHT - 1 - scrollTop) * ratio));
      for (let y = y0; y < y1; y++) pixels.set(line, y * width);
    }
    this.context.putImageData(this.image, left, top);
  }

  // Per pixel column, the first request under it and the one after the last.
  pixelColumns(width, ratio) {
    const count = this.columnCount();
    const starts = new Int32Array(width);
    const ends = new Int32Array(width);
    const scrollLeft = this.scroll.scrollLeft;
    for (let x = 0; x < width; x++) {
      const position = x / ratio + scrollLeft;
      starts[x] = Math.floor(position / this.cellWidth);
      ends[x] = Math.min(count, Math.max(starts[x] + 1, Math.ceil((position + 1 / ratio) / this.cellWidth)));
    }
    return {starts, ends, count};
  }

  paintRow(row, {starts, ends, count}, line) {
    const colours = this.series.colours(row, this.ignoreNumbers);
    const exact = row.colours.exact;
    const matches = this.rowMatches(row);
    const size = PALETTE.length;
    for (let x = 0; x < line.length; x++) {
      const column = starts[x];
      if (column >= count) {
        line[x] = PIXELS.background;
        continue;
      }
      const colour = colours[column];
      let mixed = false;
      for (let k = column + 1; k < ends[x] && !mixed; k++) mixed = colours[k] !== colour;
      if (colour < 0) {
        line[x] = mixed ? PIXELS.emptyMixed : PIXELS.empty;
      } else if (matches && !matches[exact[column]]) {
        line[x] = PIXELS.dim[colour % size];
      } else {
        line[x] = (mixed ? PIXELS.mixed : PIXELS.plain)[colour % size];
      }
    }
  }

  // Per distinct text of the row, whether it matches the search; null when
  // the whole row counts (no search, or the key matches).
  rowMatches(row) {
    if (!this.textMatches || (this.keyMatches && this.keyMatches(row))) return null;
    if (!row.matches) row.matches = row.distinct.map((value) => this.textMatches(this.series.valueText(value)));
    return row.matches;
  }

  columnX(column) {
    return LABEL_WIDTH + column * this.cellWidth - this.scroll.scrollLeft;
  }

  // A bar along the bottom of each marked cell of the visible rows.
  drawMarks() {
    if (!this.marksOf) return;
    const context = this.context;
    const scrollTop = this.scroll.scrollTop;
    const first = Math.max(0, Math.floor(scrollTop / ROW_HEIGHT));
    const last = Math.min(this.rows.length, Math.ceil((scrollTop + this.scroll.clientHeight) / ROW_HEIGHT));
    context.fillStyle = MARK;
    for (let index = first; index < last; index++) {
      const bottom = AXIS_HEIGHT + (index + 1) * ROW_HEIGHT - scrollTop - 1;
      for (const [from, to] of this.marksOf(this.rows[index]) || []) {
        const left = Math.max(LABEL_WIDTH, this.columnX(from));
        const right = Math.min(this.scroll.clientWidth, this.columnX(to + 1));
        if (right > left && bottom > AXIS_HEIGHT) context.fillRect(left, bottom - 4, Math.max(1, right - left), 4);
      }
    }
  }

  drawChoices() {
    const context = this.context;
    const bottom = Math.min(this.scroll.clientHeight, AXIS_HEIGHT + this.rows.length * ROW_HEIGHT - this.scroll.scrollTop);
    if (this.hover && this.hover.column >= 0) {
      context.fillStyle = "rgba(31, 35, 40, 0.12)";
      context.fillRect(this.columnX(this.hover.column), AXIS_HEIGHT, Math.max(1, this.cellWidth), bottom - AXIS_HEIGHT);
    }
    for (const [column, colour] of [[this.choice.a, "#1f2328"], [this.choice.b, "#bf3989"]]) {
      if (column < 0) continue;
      context.strokeStyle = colour;
      context.lineWidth = 2;
      context.strokeRect(this.columnX(column) - 1, AXIS_HEIGHT - 1, Math.max(1, this.cellWidth) + 2, bottom - AXIS_HEIGHT + 1);
    }
  }

  drawLabels() {
    const context = this.context;
    context.fillStyle = "#f6f8fa";
    context.fillRect(0, 0, LABEL_WIDTH, this.scroll.clientHeight);
    context.strokeStyle = "#d1d9e0";
    context.lineWidth = 1;
    context.beginPath();
    context.moveTo(LABEL_WIDTH - 0.5, 0);
    context.lineTo(LABEL_WIDTH - 0.5, this.scroll.clientHeight);
    context.stroke();
    const scrollTop = this.scroll.scrollTop;
    const first = Math.max(0, Math.floor(scrollTop / ROW_HEIGHT));
    const last = Math.min(this.rows.length, Math.ceil((scrollTop + this.scroll.clientHeight) / ROW_HEIGHT));
    context.textBaseline = "middle";
    for (let index = first; index < last; index++) {
      const row = this.rows[index];
      const y = AXIS_HEIGHT + index * ROW_HEIGHT - scrollTop + ROW_HEIGHT / 2;
      if (y < AXIS_HEIGHT) continue;
      if (this.hover && this.hover.row === row) {
        context.fillStyle = "#ddf4ff";
        context.fillRect(0, y - ROW_HEIGHT / 2, LABEL_WIDTH - 1, ROW_HEIGHT - 1);
      }
      const changes = String(this.series.changes(row, this.ignoreNumbers));
      context.font = "11px sans-serif";
      context.textAlign = "right";
      context.fillStyle = "#59636e";
      context.fillText(changes, LABEL_WIDTH - 8, y);
      const room = LABEL_WIDTH - 20 - context.measureText(changes).width;
      context.textAlign = "left";
      context.font = "bold 12px sans-serif";
      const module = fitText(context, row.module, room * 0.45);
      context.fillStyle = "#1f2328";
      context.fillText(module, 8, y);
      const used = context.measureText(module).width + 6;
      context.font = "12px sans-serif";
      context.fillText(fitText(context, row.label, room - used), 8 + used, y);
    }
  }

  drawAxis() {
    const context = this.context;
    context.fillStyle = "#f6f8fa";
    context.fillRect(LABEL_WIDTH, 0, this.scroll.clientWidth - LABEL_WIDTH, AXIS_HEIGHT);
    context.fillRect(0, 0, LABEL_WIDTH, AXIS_HEIGHT);
    context.fillStyle = "#59636e";
    context.font = "11px sans-serif";
    context.textAlign = "left";
    context.fillText("request", 8, AXIS_HEIGHT / 2 + 1);
    const step = tickStep(MIN_TICK_SPACING / this.cellWidth);
    const first = Math.floor(this.scroll.scrollLeft / this.cellWidth / step) * step;
    context.strokeStyle = "#afb8c1";
    context.textAlign = "center";
    for (let column = first; column < this.columnCount(); column += step) {
      const x = this.columnX(column) + this.cellWidth / 2;
      if (x > this.scroll.clientWidth) break;
      if (x < LABEL_WIDTH) continue;
      context.beginPath();
      context.moveTo(Math.round(x) + 0.5, AXIS_HEIGHT - 5);
      context.lineTo(Math.round(x) + 0.5, AXIS_HEIGHT);
      context.stroke();
      context.fillText(String(this.series.columns[column]), Math.max(LABEL_WIDTH + 14, x), AXIS_HEIGHT / 2);
    }
    this.drawChoiceTags();
  }

  // The A and B tags over the axis' numbers.
  drawChoiceTags() {
    const context = this.context;
    for (const [column, colour, name] of [[this.choice.a, "#1f2328", "A"], [this.choice.b, "#bf3989", "B"]]) {
      const x = this.columnX(column) + this.cellWidth / 2;
      if (column < 0 || x < LABEL_WIDTH) continue;
      context.fillStyle = colour;
      context.fillRect(x - 8, 3, 16, 16);
      context.fillStyle = "#fff";
      context.font = "bold 11px sans-serif";
      context.fillText(name, x, 11);
    }
  }
}

// The text, cut with an ellipsis to fit `width`.
function fitText(context, text, width) {
  if (context.measureText(text).width <= width) return text;
  let [low, high] = [0, text.length];
  while (low < high) {
    const middle = Math.ceil((low + high) / 2);
    if (context.measureText(text.slice(0, middle) + "…").width <= width) {
      low = middle;
    } else {
      high = middle - 1;
    }
  }
  return text.slice(0, low) + "…";
}

// The smallest of 1, 2, 5, 10, 20, 50, ... columns not below `least`.
function tickStep(least) {
  let step = 1;
  for (let scale = 1; step < least; scale *= 10) {
    for (const factor of [1, 2, 5]) {
      step = factor * scale;
      if (step >= least) break;
    }
  }
  return step;
}
