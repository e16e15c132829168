// `scenario-log export --jsonl` and `--csv` loaded into DuckDB, checked
// against `scenario-log sql` on the same files:
//
//   node duckdb_export_test.js --reader R --sim S --work-dir D [--emulator WORDS]
//
// A simulator run: every table has the rows that sql counts, records per
// module and request and the largest exposure (DuckDB's regexp_extract
// against sql's num()) are sql's, every row has schema_version. Hostile
// texts (bytes that are not UTF-8, quotes, commas, tabs) load from the JSON
// Lines and the CSV files alike as the documented characters.
import { execFileSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';
import { parseArgs } from 'node:util';

const { values: args } = parseArgs({
  options: {
    reader: { type: 'string' }, sim: { type: 'string' },
    'work-dir': { type: 'string' }, emulator: { type: 'string', default: '' },
  },
});
const emulator = args.emulator.split(' ').filter(Boolean);
const work = args['work-dir'];

let duckdb;
try {
  duckdb = await import('@duckdb/node-api');
} catch (error) {
  console.error(`@duckdb/node-api cannot be loaded (scripts/install-deps installs it): ${error.message}`);
  process.exit(1);
}

function expect(condition, message) {
  if (!condition) throw new Error(message);
}

function run(program, ...words) {
  const [command, ...rest] = [...emulator, program, ...words];
  return execFileSync(command, rest, { cwd: work, encoding: 'utf8', maxBuffer: 1 << 28 });
}

// `sql --csv` as rows of strings (the simulator's texts hold no quotes or commas).
function sql(query, input) {
  return run(args.reader, 'sql', '--csv', '--no-cache', query, input)
    .split('\r\n').slice(1, -1).map((line) => line.split(','));
}

const connection = await (await duckdb.DuckDBInstance.create(':memory:')).connect();
async function rows(query) {
  return (await connection.runAndReadAll(query)).getRows().map((row) => row.map(String));
}

// The manifest's columns as read_ndjson's columns={...}.
function columnsOf(folder, table) {
  const manifest = JSON.parse(fs.readFileSync(path.join(work, folder, 'manifest.json'), 'utf8'));
  const { columns } = manifest.tables.find((one) => one.name === table);
  const types = { INTEGER: 'BIGINT', TEXT: 'VARCHAR' };
  return `{${columns.map((c) => `${c.name}: '${types[c.type]}'`).join(', ')}}`;
}

async function load(folder, table) {
  const file = path.join(work, folder, `${table}.jsonl`);
  await connection.run(`CREATE OR REPLACE TABLE ${table} AS SELECT * FROM
                        read_ndjson('${file}', columns = ${columnsOf(folder, table)})`);
}

function same(actual, wanted, what) {
  expect(JSON.stringify(actual) === JSON.stringify(wanted),
    `${what}: DuckDB ${JSON.stringify(actual).slice(0, 300)}, sql ${JSON.stringify(wanted).slice(0, 300)}`);
}

async function simulatorRun() {
  run(args.sim, '--scene', 'dusk', '--duration', '2', '--fps', '60', '--out', 'logs', '--quiet');
  run(args.reader, 'export', '--jsonl', '--out', 'export', '--no-cache', 'logs');
  const tables = ['records', 'requests', 'headlines', 'series', 'files', 'problems'];
  for (const table of tables) await load('export', table);
  const counts = tables.map((table) => `(SELECT count(*) FROM ${table})`).join(', ');
  same(await rows(`SELECT ${counts}`), sql(`SELECT ${counts}`, 'logs'), 'rows per table');

  const perModule = `SELECT module, request, count(*) FROM records
                     GROUP BY module, request ORDER BY module, request NULLS FIRST`;
  const wanted = sql(perModule, 'logs');
  expect(wanted.length > 100, `only ${wanted.length} modules and requests`);
  same(await rows(perModule), wanted, 'records per module and request');

  const exposure = `max(%s) FROM records WHERE module = '3A' AND decision = 'AE_EXPOSURE_PARAM'`;
  const duckdbMax = await rows(`SELECT ${exposure.replace('%s',
    String.raw`CAST(regexp_extract(text, '\bexposure[ :=]+([0-9]+)', 1) AS BIGINT)`)}`);
  const sqlMax = sql(`SELECT ${exposure.replace('%s', "num(text, 'exposure')")}`, 'logs');
  expect(Number(sqlMax[0][0]) > 0, 'no exposure');
  same(duckdbMax, sqlMax, 'largest exposure');
  same(await rows('SELECT DISTINCT schema_version FROM records'), [['1']], 'schema versions');
  return { records: (await rows('SELECT count(*) FROM records'))[0][0], groups: wanted.length };
}

async function hostileTexts() {
  const logs = path.join(work, 'hostile');
  fs.mkdirSync(logs);
  const name = '000000001_0000_0000_preview__2025_0102_030405_TuningLog_01.txt';
  fs.writeFileSync(path.join(logs, name), Buffer.concat([
    Buffer.from('[UKey: 1][ReqNum: 3], AE "ok"\n[ModuleName: 3A][Decision: AE] '),
    Buffer.from([0xe9, 0x74, 0xe9, 0x20, 0xc3, 0xa9, 0x20, 0xed, 0xa0, 0x80]),
    Buffer.from(' "quoted", comma\ttab\n[ModuleName: 3A][Decision: AE] \n'),
  ]));
  run(args.reader, 'export', '--jsonl', '--csv', '--out', 'hostile-export', '--no-cache', 'hostile');
  const wanted = [['3', 'été é \u00ed\u00a0\u0080 "quoted", comma\ttab'], ['3', '']];
  await load('hostile-export', 'records');
  same(await rows('SELECT request, text FROM records ORDER BY line'), wanted, 'JSON Lines texts');
  const csv = path.join(work, 'hostile-export', 'records.csv');
  same(await rows(`SELECT request, text FROM read_csv('${csv}', header = true, delim = ',', quote = '"',
                   allow_quoted_nulls = false) ORDER BY line`), wanted, 'CSV texts');
}

fs.rmSync(work, { recursive: true, force: true });
fs.mkdirSync(work, { recursive: true });
try {
  const { records, groups } = await simulatorRun();
  await hostileTexts();
  console.log(`DuckDB loaded ${records} records; ${groups} counts per module and request, ` +
              'the largest exposure and every table\'s rows are sql\'s');
} catch (error) {
  console.error(error.message);
  process.exit(1);
}
