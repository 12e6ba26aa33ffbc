'use strict';
// How a sort ends before its time, and that the event loop goes on during one.

const assert = require('node:assert/strict');
const { execFile } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { test } = require('node:test');
const { setTimeout: sleep } = require('node:timers/promises');
const { promisify } = require('node:util');
const { SortError, sort, sortFile } = require('fsort');

const index = JSON.stringify(require.resolve('fsort'));

function folderOf(t) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'fsort-test-'));
  t.after(() => fs.rmSync(folder, { recursive: true }));
  return folder;
}

function* numbers(count) {
  for (let i = 0; i < count; ++i) yield Buffer.from(String(i * 7919 % count));
}

// Runs until work files are there.
async function spilled(folder) {
  while (!fs.readdirSync(folder).some((name) => name.startsWith('wk'))) await sleep(5);
}

test('the event loop goes on during a sort', async (t) => {
  const folder = folderOf(t);
  const lines = Array.from({ length: 1000000 }, (_, i) => `${i * 7368787 % 1000003} a line of some length\n`);
  fs.writeFileSync(path.join(folder, 'in'), lines.join(''));
  let longest = 0;
  let ticks = 0;
  let last = performance.now();
  const timer = setInterval(() => {
    const now = performance.now();
    longest = Math.max(longest, now - last);
    last = now;
    ++ticks;
  }, 1);
  const began = performance.now();
  await sortFile({ input: path.join(folder, 'in'), output: path.join(folder, 'out'), memory: '1m', workDir: folder });
  const took = performance.now() - began;
  clearInterval(timer);
  assert.equal(fs.statSync(path.join(folder, 'out')).size, fs.statSync(path.join(folder, 'in')).size);
  assert.ok(ticks > 20 && longest < took / 2, `${ticks} ticks, ${longest} ms between two, in ${took} ms`);
});

test('an exception of the iterable comes out as it is', async () => {
  const thrown = new Error('mine');
  async function* failing() {
    yield* numbers(50000);
    throw thrown;
  }
  await assert.rejects(sort(failing(), { memory: '300k' }).next(), (error) => error === thrown);
});

test('an error of an inner sort comes out of the outer one', async () => {
  await assert.rejects(sort(sort([Buffer.from('a')], { keys: '-zz' })).next(), SortError);
});

test('leaving the loop ends the sort and its iterable', async (t) => {
  const folder = folderOf(t);
  let closed = 0;
  function* records() {
    try {
      yield* numbers(300007);
    } finally {
      ++closed;
    }
  }
  for await (const record of sort(records(), { memory: '300k', workDir: folder })) {
    assert.equal(record.toString(), '0');
    assert.notDeepEqual(fs.readdirSync(folder), []);
    break;
  }
  assert.deepEqual(fs.readdirSync(folder), []);
  assert.equal(closed, 1);
  // One that fails in the middle of its input leaves the iterable, too.
  function* bad() {
    try {
      for (;;) yield 'text';
    } finally {
      ++closed;
    }
  }
  await assert.rejects(sort(bad()).next(), TypeError);
  assert.equal(closed, 2);
});

test('a signal ends a sort that takes records', async (t) => {
  const folder = folderOf(t);
  function* endless() {
    for (let i = 0; ; ++i) yield Buffer.from(String(i * 7919 % 1000003));
  }
  const controller = new AbortController();
  const first = sort(endless(), { memory: '300k', workDir: folder, signal: controller.signal }).next();
  await spilled(folder);
  controller.abort();
  await assert.rejects(first, { name: 'AbortError' });
  assert.deepEqual(fs.readdirSync(folder), []);
});

test('a signal ends a sort whose iterable gives nothing', async () => {
  async function* silent() {
    yield Buffer.from('a');
    await new Promise(() => {});
  }
  const reason = new Error('enough');
  const controller = new AbortController();
  const first = sort(silent(), { signal: controller.signal }).next();
  setTimeout(() => controller.abort(reason), 50);
  await assert.rejects(first, (error) => error === reason);
});

test('a signal closes an iterable that gives nothing', async () => {
  let closed = 0;
  const silent = {
    [Symbol.asyncIterator]: () => silent,
    next: () => new Promise(() => {}),
    return: () => new Promise(() => { ++closed; }),
  };
  const controller = new AbortController();
  setTimeout(() => controller.abort(), 50);
  await assert.rejects(sort(silent, { signal: controller.signal }).next(), { name: 'AbortError' });
  assert.equal(closed, 1);
});

test('a signal ends a sort between two records of its output', async () => {
  const controller = new AbortController();
  const records = sort(numbers(50021), { signal: controller.signal });
  await records.next();
  controller.abort();
  await assert.rejects(records.next(), { name: 'AbortError' });
  assert.equal((await records.next()).done, true);
});

test('a signal that was given before lets nothing begin', async () => {
  const signal = AbortSignal.abort();
  await assert.rejects(sort([Buffer.from('a')], { signal }).next(), { name: 'AbortError' });
  await assert.rejects(sortFile({ input: 'no such', output: 'file', signal }), { name: 'AbortError' });
});

test('a signal ends a sort of files', { skip: process.platform === 'win32' }, async (t) => {
  const folder = folderOf(t);
  const controller = new AbortController();
  // Endless, so that nothing but the signal can end the sort.
  const done = sortFile({
    input: '/dev/urandom', output: path.join(folder, 'out'), record: 'fixed', recordSize: 8, memory: '300k',
    workDir: folder, signal: controller.signal,
  });
  await spilled(folder);
  controller.abort();
  await assert.rejects(done, { name: 'AbortError' });
  assert.deepEqual(fs.readdirSync(folder), []);
});

test('collection of an iterator ends the sort', async (t) => {
  const folder = folderOf(t);
  const program = `
    const { readdirSync } = require('node:fs');
    const { sort } = require(${index});
    const folder = ${JSON.stringify(folder)};
    function* numbers() { for (let i = 0; i < 300007; ++i) yield Buffer.from(String(i * 7919 % 300007)); }
    const begin = () => sort(numbers(), { memory: '300k', workDir: folder }).next().then(() => readdirSync(folder).length);
    begin().then((files) => {
      const timer = setInterval(() => {
        gc();
        if (readdirSync(folder).length !== 0) return;
        clearInterval(timer);
        console.log(files > 0);
      }, 20);
    });`;
  const { stdout } = await promisify(execFile)(process.execPath, ['--expose-gc', '-e', program], { timeout: 20000 });
  assert.equal(stdout, 'true\n');
});

test('a program ends though an iterator rests', async () => {
  for (const end of ['', 'process.exit(0);']) {
    const program = `
      const { sort } = require(${index});
      function* numbers() { for (let i = 0; i < 100000; ++i) yield Buffer.from(String(i)); }
      sort(numbers()).next().then(({ value }) => { console.log(value.toString()); ${end} });`;
    const { stdout } = await promisify(execFile)(process.execPath, ['-e', program], { timeout: 20000 });
    assert.equal(stdout, '0\n');
  }
});

test('hundreds of sorts leave nothing', async () => {
  const before = fs.existsSync('/proc/self/task') ? fs.readdirSync('/proc/self/task').length : 0;
  for (let i = 0; i < 60; ++i) {
    const records = sort(numbers(1 + i * 40));
    await records.next();
    if (i % 2 === 1) await records.return();
    else for await (const record of records) assert.ok(record.length > 0);
  }
  await sleep(200);
  const after = fs.existsSync('/proc/self/task') ? fs.readdirSync('/proc/self/task').length : 0;
  assert.ok(after <= before + 4, `${before} threads before, ${after} after`);  // the pool has four
});
