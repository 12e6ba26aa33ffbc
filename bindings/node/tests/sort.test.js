'use strict';
// Order, keys and records of sort.

const assert = require('node:assert/strict');
const { execFile } = require('node:child_process');
const { test } = require('node:test');
const { promisify } = require('node:util');
const { SortError, sort } = require('fsort');

const buffers = (...texts) => texts.map((text) => Buffer.from(text));

async function taken(iterator) {
  const records = [];
  for await (const record of iterator) records.push(record.toString('latin1'));
  return records;
}

// So many different records in an order that is none.
function* shuffled(count) {
  for (let i = 0; i < count; ++i) yield Buffer.from(`${String((i * 7919 + 13) % count).padStart(7, '0')} line\n`);
}

function inOrder(count) {
  return Array.from({ length: count }, (_, i) => `${String(i).padStart(7, '0')} line\n`);
}

test('without keys the order is that of the bytes', async () => {
  const records = [...shuffled(20000)].map((record, i) => Buffer.concat([Buffer.from([i * 31 % 256]), record]));
  const expected = [...records].sort(Buffer.compare).map((record) => record.toString('latin1'));
  assert.deepEqual(await taken(sort(records)), expected);
});

test('every record comes out when work files are needed', async () => {
  assert.deepEqual(await taken(sort(shuffled(150001), { memory: '300k' })), inOrder(150001));
});

test('no record gives no record', async () => {
  assert.deepEqual(await taken(sort([])), []);
});

test('records of an asynchronous iterable', async () => {
  async function* slow() {
    for (const record of shuffled(2000)) {
      if (record[6] === 48) await new Promise(setImmediate);
      yield record;
    }
  }
  assert.deepEqual(await taken(sort(slow())), inOrder(2000));
});

test('a buffer that is used again is copied in time', async () => {
  function* again() {
    const buffer = Buffer.alloc(3);
    for (const text of ['ccc', 'aaa', 'bbb']) {
      buffer.write(text);
      yield buffer;
    }
  }
  assert.deepEqual(await taken(sort(again())), ['aaa', 'bbb', 'ccc']);
});

test('numbers of a field descend', async () => {
  const records = buffers('a;9', 'b;100', 'c;-3', 'd;20');
  const keys = { field: 1, numeric: true, descending: true };
  assert.deepEqual(await taken(sort(records, { keys, delimiter: ';' })), ['b;100', 'd;20', 'a;9', 'c;-3']);
});

test('texts and keys mix, the first counts most', async () => {
  const keys = ['-k -c 0', { columns: [1], descending: true }];
  assert.deepEqual(await taken(sort(buffers('1a', '0b', '1b'), { keys })), ['0b', '1b', '1a']);
});

test('nocase takes capitals for small letters', async () => {
  const found = await taken(sort(buffers('b', 'C', 'A', '[', 'a'), { keys: { order: 'nocase' } }));
  assert.deepEqual(found.slice(2), ['b', 'C', '[']);
});

test('unique drops only equal records', async () => {
  const records = buffers('é1', 'b', 'é2', 'b');
  assert.equal((await taken(sort(records, { unique: true }))).length, 3);
});

test('bytes in front of a key are skipped', async () => {
  assert.deepEqual(await taken(sort(buffers('  b', ' c', 'a'), { keys: { skip: ' ' } })), ['a', '  b', ' c']);
});

test('a long command line is taken', async () => {
  const keys = Array.from({ length: 32 }, (_, i) => `-k 0-64 65-90 -r 97-122 91-96 123-200 201-210 211-255 -c ${31 - i}`);
  const records = Array.from({ length: 26 }, (_, i) => Buffer.from(Array.from({ length: 32 }, (_, j) => 97 + i * j % 26)));
  const reversed = (record) => Buffer.from(record).reverse();
  const expected = [...records].sort((a, b) => Buffer.compare(reversed(a), reversed(b))).map(String);
  assert.deepEqual(await taken(sort(records, { keys })), expected);
});

test('a whole command line takes the place of options', async () => {
  assert.deepEqual(await taken(sort(buffers('a', 'b'), { command: '-q -i -k' })), ['b', 'a']);
  assert.throws(() => sort([], { command: '-k', unique: true }), TypeError);
});

test('mistakes are named where they are made', async () => {
  assert.throws(() => sort('text'), /iterable/);
  assert.throws(() => sort([], { key: '-k' }), /no option "key"/);
  assert.throws(() => sort([], { keys: { fields: 1 } }), /no "fields"/);
  assert.throws(() => sort([], { keys: { columns: '0-3' } }), TypeError);
  assert.throws(() => sort([], { keys: { numeric: true, decimals: 0 } }), RangeError);
  assert.throws(() => sort([], { memory: 'much' }), RangeError);
  assert.throws(() => sort([], { delimiter: [256] }), RangeError);
  await assert.rejects(taken(sort(['text'])), /Buffer.from/);
  await assert.rejects(taken(sort([Buffer.alloc(0)])), /empty/);
});

test('an error carries all messages', async () => {
  const options = Array.from({ length: 50 }, (_, i) => `-wrong${i}`).join(' ');
  await assert.rejects(taken(sort(buffers('a'), { options })), (error) => {
    assert.ok(error instanceof SortError);
    assert.equal(error.status, 1);
    assert.match(error.message, /-wrong49/);
    assert.equal(error.messages.at(-1), 'Error detected in fsort initialization\n');
    return true;
  });
});

test('the longest record is sorted, a longer one is an error', async () => {
  const longest = [Buffer.alloc(65530, 'b'), Buffer.alloc(65530, 'a')];
  const found = await taken(sort(longest, { memory: '4m' }));
  assert.deepEqual(found.map((record) => [record[0], record.length]), [['a', 65530], ['b', 65530]]);
  await assert.rejects(taken(sort([Buffer.alloc(65531, 'a')])), SortError);
});

test('a sort is the input of another', async () => {
  const outer = sort(sort(shuffled(30001)), { keys: { descending: true } });
  assert.deepEqual(await taken(outer), inOrder(30001).reverse());
});

test('an iterator that rests holds up nobody', async () => {
  const resting = sort(shuffled(100003));
  assert.equal((await resting.next()).value.toString(), '0000000 line\n');
  for (let i = 0; i < 3; ++i) assert.deepEqual(await taken(sort(shuffled(20011))), inOrder(20011));
  assert.deepEqual(await taken(resting), inOrder(100003).slice(1));
});

test('many sorts at once', async () => {
  const sorts = Array.from({ length: 10 }, () => taken(sort(sort(shuffled(9001)))));
  for (const found of await Promise.all(sorts)) assert.deepEqual(found, inOrder(9001));
});

test('many records take little memory', async () => {
  const program = `
    const { sort } = require(${JSON.stringify(require.resolve('fsort'))});
    function* records() {
      for (let i = 0; i < 1000000; ++i) yield Buffer.from(String(i * 7368787 % 2000003).padStart(60, '0'));
    }
    const before = process.resourceUsage().maxRSS;
    (async () => {
      let count = 0;
      let last = Buffer.alloc(0);
      for await (const record of sort(records(), { memory: '8m' })) {
        if (Buffer.compare(last, record) >= 0) throw new Error('out of order');
        last = record;
        ++count;
      }
      console.log(count, (process.resourceUsage().maxRSS - before) >> 10);
    })();`;
  const { stdout } = await promisify(execFile)(process.execPath, ['-e', program]);
  const [count, grown] = stdout.trim().split(' ').map(Number);
  assert.equal(count, 1000000);
  // 60 MB of bytes, and a Buffer object takes another hundred. Two threads of JavaScript have 70 by themselves.
  assert.ok(grown < 130, `${grown} MB more`);
});
