// The diff of two requests, as `scenario-log diff` makes it.
//
// The rules live in DiffReport.h (matching) and TextCompare.h (marking); this
// is their one port to the page, and the browser test holds the two to the
// same output on a simulator run. The page has no C++ to call, and
// precomputing the diffs would cost a pair of requests each; so the page
// compares what the user picks. Offsets count UTF-16 units rather than bytes:
// the spans are the same characters, except that a span starting inside a
// multi-byte character starts with that character here.

/* exported requestItems, diffRequests */

// A request's comparable items in written order (RequestCollector.cpp): a
// headline gives its NDD texts and its snippets, each when not empty; a record
// its module, key and text.
function requestItems(lines) {
  const items = [];
  for (const line of lines) {
    const place = line.file + ":" + line.line;
    if (line.headline) {
      if (line.ndd) items.push({group: "headline", label: "NDD", text: line.ndd, place});
      if (line.snippets) items.push({group: "headline", label: "snippets", text: line.snippets, place});
    } else {
      items.push({group: line.row.module, label: line.row.label, text: line.recordText, place});
    }
  }
  return items;
}

function isDigit(text, at) {
  const code = text.charCodeAt(at);
  return code >= 0x30 && code <= 0x39;
}

// A text as tokens: single units, or whole runs of digits when numbers are
// taken as equal.
class Tokens {
  constructor(text, ignoreNumbers) {
    this.text = text;
    this.ignoreNumbers = ignoreNumbers;
  }

  isNumber(at) {
    return this.ignoreNumbers && isDigit(this.text, at);
  }

  endOfTokenAt(at) {
    if (!this.isNumber(at)) return at + 1;
    while (at < this.text.length && isDigit(this.text, at)) at++;
    return at;
  }

  startOfTokenBefore(end, floor) {
    if (!this.isNumber(end - 1)) return end - 1;
    while (end > floor && isDigit(this.text, end - 1)) end--;
    return end;
  }

  sameToken(at, other, otherAt) {
    if (this.isNumber(at) || other.isNumber(otherAt)) return this.isNumber(at) && other.isNumber(otherAt);
    return this.text[at] === other.text[otherAt];
  }
}

// Where two texts differ: between their longest common start and end.
function compareTexts(a, b, ignoreNumbers) {
  const left = new Tokens(a, ignoreNumbers);
  const right = new Tokens(b, ignoreNumbers);
  let [headA, headB] = [0, 0];
  while (headA < a.length && headB < b.length && left.sameToken(headA, right, headB)) {
    headA = left.endOfTokenAt(headA);
    headB = right.endOfTokenAt(headB);
  }
  let [tailA, tailB] = [a.length, b.length];
  while (tailA > headA && tailB > headB) {
    const startA = left.startOfTokenBefore(tailA, headA);
    const startB = right.startOfTokenBefore(tailB, headB);
    if (!left.sameToken(startA, right, startB)) break;
    [tailA, tailB] = [startA, startB];
  }
  return {equal: headA === a.length && headB === b.length, a: [headA, tailA], b: [headB, tailB]};
}

// Items matched by group, key and occurrence. Groups: the headline first,
// then modules by name; keys in the order they first appear, A then B; per
// group those only in A, those only in B, then those that differ.
function diffRequests(itemsA, itemsB, ignoreNumbers) {
  const groups = new Map();
  const add = (items, side) => {
    for (const item of items) {
      if (!groups.has(item.group)) groups.set(item.group, new Map());
      const slots = groups.get(item.group);
      if (!slots.has(item.label)) slots.set(item.label, {a: [], b: []});
      slots.get(item.label)[side].push(item);
    }
  };
  add(itemsA, "a");
  add(itemsB, "b");
  const names = [...groups.keys()].filter((name) => name !== "headline").sort((x, y) => (x < y ? -1 : x > y ? 1 : 0));
  if (groups.has("headline")) names.unshift("headline");
  const counts = {onlyA: 0, onlyB: 0, changed: 0};
  const result = [];
  for (const name of names) {
    const lists = {onlyA: [], onlyB: [], changed: []};
    for (const [label, slot] of groups.get(name)) {
      const count = Math.max(slot.a.length, slot.b.length);
      for (let i = 0; i < count; i++) {
        const [a, b] = [slot.a[i] || null, slot.b[i] || null];
        let spans = null;
        if (a && b) {
          spans = compareTexts(a.text, b.text, ignoreNumbers);
          if (spans.equal) continue;
        }
        const change = !a ? "onlyB" : !b ? "onlyA" : "changed";
        lists[change].push({change, label, occurrence: i + 1, a, b, spans});
      }
    }
    const differences = [...lists.onlyA, ...lists.onlyB, ...lists.changed];
    for (const change of Object.keys(lists)) counts[change] += lists[change].length;
    if (differences.length > 0) result.push({name, differences});
  }
  return {groups: result, counts};
}
