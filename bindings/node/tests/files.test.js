'use strict';
// Files in and out, and the example.

const assert = require('node:assert/strict');
const { execFile } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { pathToFileURL } = require('node:url');
const { test } = require('node:test');
const { promisify } = require('node:util');
const { SortError, run, sort, sortFile } = require('fsort');

const example = path.join(path.dirname(require.resolve('fsort')), 'examples', 'sort_words.js');

function folderOf(t) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'fsort-test-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  return folder;
}

function written(folder, name, content) {
  const file = path.join(folder, name);
  fs.writeFileSync(file, content);
  return file;
}

test('lines', async (t) => {
  const folder = folderOf(t);
  const output = path.join(folder, 'out');
  assert.equal(await sortFile({ input: written(folder, 'in', 'b\na\né\n'), output }), undefined);
  assert.equal(fs.readFileSync(output, 'utf8'), 'a\nb\né\n');
});

// Their names are too long for a command line; they go into an include file.
test('sixteen inputs and options', async (t) => {
  const folder = folderOf(t);
  const input = Array.from({ length: 16 }, (_, i) => pathToFileURL(written(folder, `in${i}`, `x;${i}\ny;${100 - i}\n`)));
  const output = path.join(folder, 'out');
  await sortFile({ input, output, keys: { field: 1, numeric: true }, delimiter: ';', memory: 1 << 20, workDir: folder });
  const found = fs.readFileSync(output, 'utf8').trim().split('\n').map((line) => Number(line.split(';')[1]));
  assert.deepEqual(found, [...found].sort((a, b) => a - b));
  assert.equal(found.length, 32);
});

test('strange names', async (t) => {
  const folder = folderOf(t);
  const old = process.cwd();
  process.chdir(folder);
  try {
    for (const name of ['-in', '<x', '(y', "it's", 'two  blanks', '#c', 'é']) {
      fs.writeFileSync(name, '2\n1\n');
      await sortFile({ input: name, output: `${name}.out` });
      assert.equal(fs.readFileSync(`${name}.out`, 'utf8'), '1\n2\n');
    }
  } finally {
    process.chdir(old);
  }
  for (const input of ['', 'a"b', 'a\0b']) await assert.rejects(sortFile({ input, output: 'out' }), RangeError);
});

test('fixed records', async (t) => {
  const folder = folderOf(t);
  const records = Array.from({ length: 3000 }, (_, i) => Buffer.from([i * 7 % 256, i * 31 % 251, i & 255, i >> 8]));
  const output = path.join(folder, 'out');
  await sortFile({ input: written(folder, 'in', Buffer.concat(records)), output, record: 'fixed', recordSize: 4 });
  assert.deepEqual(fs.readFileSync(output), Buffer.concat(records.sort(Buffer.compare)));
});

test('variable records', async (t) => {
  const folder = folderOf(t);
  const framed = (text) => Buffer.concat([Buffer.from([text.length >> 8, text.length & 255]), Buffer.from(text)]);
  const texts = ['pear', 'fig', 'apple'.repeat(60)];
  const output = path.join(folder, 'out');
  await sortFile({
    input: written(folder, 'in', Buffer.concat(texts.map(framed))), output, record: 'variable', lengthField: [0, 1],
    keys: { columns: [2] },
  });
  assert.deepEqual(fs.readFileSync(output), Buffer.concat(texts.sort().map(framed)));
});

test('a missing file is named', async (t) => {
  const folder = folderOf(t);
  const output = path.join(folder, 'out');
  await assert.rejects(sortFile({ input: path.join(folder, 'no such.txt'), output }), (error) => {
    assert.ok(error instanceof SortError);
    assert.match(error.message, /no such\.txt/);
    return true;
  });
  assert.equal(fs.existsSync(output), false);
});

test('a full disk is an error', { skip: !fs.existsSync('/dev/full') }, async (t) => {
  const input = written(folderOf(t), 'in', 'b\na\n');
  await assert.rejects(sortFile({ input, output: '/dev/full' }), /Space exhausted while writing output file/);
});

test('a command line says how long it took', async (t) => {
  const folder = folderOf(t);
  const said = await run(`"<${written(folder, 'in', 'a\nb\n')}" ">${folder}/out" -i -k`);
  assert.match(said, /elapsed time/);
  assert.equal(fs.readFileSync(path.join(folder, 'out'), 'utf8'), 'b\na\n');
  for (const command of ['-q', '<in', '>out']) await assert.rejects(run(command), /names no/);
});

test('files are sorted while an iterator rests', async (t) => {
  const folder = folderOf(t);
  const resting = sort(Array.from({ length: 50000 }, (_, i) => Buffer.from(String(i))));
  await resting.next();
  await sortFile({ input: written(folder, 'in', 'b\na\n'), output: path.join(folder, 'out') });
  assert.equal(fs.readFileSync(path.join(folder, 'out'), 'utf8'), 'a\nb\n');
  let left = 0;
  for await (const record of resting) left += record.length > 0 ? 1 : 0;
  assert.equal(left, 49999);
});

test('the example counts words', async (t) => {
  const text = written(folderOf(t), 'text', 'to be or not to be\nthat is the question: to be\n');
  const { stdout } = await promisify(execFile)(process.execPath, [example, text]);
  const lines = stdout.trim().split('\n');
  assert.deepEqual(lines.slice(0, 3), ['3\tbe', '3\tto', '1\tis']);
  assert.equal(lines.length, 8);
});
