'use strict';
// From options to the command line of the engine.
//
// A command line is built as a list of arguments and becomes one text at the end. The engine takes 511 bytes of it; a
// longer one keeps what an include file cannot hold (white space, more than 78 characters, a # in front) and moves
// the rest into include files, each run of arguments at its place.

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { fileURLToPath } = require('node:url');

const MAX_COMMAND = 511;

const ORDERS = {
  bytes: '0-255',
  text: '',
  // Both alphabets get the ranks of the capitals; what lies between them follows.
  nocase: '0-64 65-90 -r 97-122 91-96 123-255',
};

function words(text) {
  return text.split(' ').filter((word) => word !== '');
}

function number(name, value) {
  if (!Number.isInteger(value)) throw new TypeError(`${name}: a whole number is wanted, not ${String(value)}`);
  if (value < 0) throw new RangeError(`${name}: ${value} is below 0`);
  return String(value);
}

function range(name, value, openEnd = false) {
  if (!Array.isArray(value)) return number(name, value);
  if (value.length === 1 && openEnd) return `${number(name, value[0])}-`;
  if (value.length !== 2) throw new TypeError(`${name}: a number or two in an array are wanted`);
  return `${number(name, value[0])}-${number(name, value[1])}`;
}

function byteValues(name, value) {
  const values = typeof value === 'number' ? [value] : [...(typeof value === 'string' ? Buffer.from(value) : value)];
  if (values.length === 0 || values.some((v) => !Number.isInteger(v) || v < 0 || v > 255)) {
    throw new RangeError(`${name}: byte values are wanted`);
  }
  return [...new Set(values)].sort((a, b) => a - b).map(String);
}

// Bytes as a number, or a text with a unit, in the engine's kilobytes.
function size(name, value) {
  if (typeof value !== 'string') return `${Math.max(1, Math.ceil(Number(number(name, value)) / 1024))}k`;
  if (!/^[0-9]+[kmg]$/.test(value)) {
    throw new RangeError(`${name}: a number of bytes or a text like "512m" is wanted, not "${value}"`);
  }
  return value;
}

// A file name as one argument.
function pathArgument(file) {
  const name = file instanceof URL ? fileURLToPath(file) : file;
  if (typeof name !== 'string') throw new TypeError(`a file name is wanted, not ${typeof name}`);
  if (name === '') throw new RangeError('an empty file name');
  if (/[\0"]/.test(name) || (path.sep === '/' && name.includes('\\'))) {
    throw new RangeError(`the engine cannot name this file: ${JSON.stringify(name)}`);
  }
  return "-(<>#'".includes(name[0]) ? `./${name}` : name;
}

function sequence(key) {
  const order = key.order ?? 'bytes';
  if (!key.numeric) return words(ORDERS[order] ?? order);
  if (!(order in ORDERS)) return words(order);
  // Without a sequence of its own the blanks of a key would be those of other keys without one.
  return key.skip === undefined ? [] : ['48-57'];
}

function keyArguments(key) {
  if (typeof key === 'string') return split(key);
  if (key === null || typeof key !== 'object') throw new TypeError(`keys: an object or a text is wanted`);
  const known = ['field', 'columns', 'numeric', 'descending', 'decimals', 'order', 'skip'];
  const unknown = Object.keys(key).find((name) => !known.includes(name));
  if (unknown !== undefined) throw new TypeError(`keys: a key has no "${unknown}"`);
  const made = [key.numeric ? '-n' : '-k', ...sequence(key)];
  if (key.decimals !== undefined) {
    if (!key.numeric) throw new RangeError('keys: decimals are for numeric keys');
    if (key.decimals === 0) throw new RangeError('keys: decimals of 0 would displace the key behind; 1 is the least');
    made.push('-d', number('decimals', key.decimals));
  }
  if (key.descending) made.push('-i');
  if (key.skip !== undefined) made.push('-b', ...byteValues('skip', key.skip));
  if (key.field !== undefined) made.push('-f', range('field', key.field));
  if (key.columns !== undefined) made.push('-c', range('columns', key.columns, true));
  else if (key.field === undefined) made.push('-c', '0-');
  return made;
}

// Keys in the order in which they count; without any, the whole record by the values of its bytes.
function keysArguments(keys) {
  const all = keys === undefined ? [] : Array.isArray(keys) ? keys : [keys];
  return (all.length === 0 ? [{}] : all).flatMap(keyArguments);
}

function recordArguments({ record = 'text', recordSize, lengthField }) {
  const sizes = recordSize === undefined ? [] : [number('recordSize', recordSize)];
  if (lengthField !== undefined && record !== 'variable') {
    throw new RangeError('lengthField: only variable records have one');
  }
  if (record === 'text') return sizes.length === 0 ? [] : ['-rt', ...sizes];
  if (record === 'variable') return ['-rv', range('lengthField', lengthField ?? [1, 0]), ...sizes];
  if (record !== 'fixed') throw new RangeError(`record: "text", "fixed" or "variable" is wanted, not "${record}"`);
  if (sizes.length === 0) throw new RangeError('recordSize: fixed records need their size');
  return ['-rf', ...sizes];
}

// All that does not name files. Global options stand in front: behind a key some would end the list.
function optionArguments(given) {
  const made = ['-q'];
  if (given.unique) made.push('-u');
  if (given.delimiter !== undefined) made.push('-t', ...byteValues('delimiter', given.delimiter));
  if (given.memory !== undefined) made.push('-m', size('memory', given.memory));
  if (given.workDir !== undefined) made.push('-w', pathArgument(given.workDir));
  if (given.short !== undefined) {
    if (!['mfr', 'mcf', 'mcr'].includes(given.short)) throw new RangeError('short: "mfr", "mcf" or "mcr" is wanted');
    made.push(`-${given.short}`);
  }
  if (given.options !== undefined) made.push(...split(given.options));
  return made.concat(keysArguments(given.keys));
}

function fileArguments({ input, output }) {
  const inputs = Array.isArray(input) ? input : [input];
  if (inputs.length === 0) throw new RangeError('input: no file is named');
  return ['-in', ...inputs.map(pathArgument), '-out', pathArgument(output)];
}

// The arguments of a text, as the engine splits it: double quotes are dropped, single quotes stay. Line breaks separate,
// too.
function split(text) {
  if (typeof text !== 'string') throw new TypeError(`a command line is a text, not ${typeof text}`);
  const found = [];
  let held = null;
  let quote = '';
  for (const c of text) {
    if (quote === '' && ' \t\r\n'.includes(c)) {
      if (held !== null) found.push(held);
      held = null;
      continue;
    }
    const switches = quote === '' ? c === "'" || c === '"' : c === quote;
    if (switches) quote = quote === '' ? c : '';
    held = (held ?? '') + (switches && c === '"' ? '' : c);
  }
  if (held !== null) found.push(held);
  return found;
}

function quoted(argument) {
  for (const form of [argument, `"${argument}"`]) {
    const parts = split(`${form} x`);  // a quote that is left open would take the next argument, too
    if (parts.length === 2 && parts[0] === argument) return form;
  }
  throw new RangeError(`the engine cannot take this argument: ${JSON.stringify(argument)}`);
}

// The arguments, those in include files replaced by the directives that include them.
function moved(all, folder) {
  const made = [];
  let run = [];
  const end = () => {
    if (run.length === 0) return;
    const name = path.join(folder, `${made.length}.fso`);
    fs.writeFileSync(name, run.map((argument) => `${argument}\n`).join(''));
    made.push('-#include', quoted(name));
    run = [];
  };
  for (const argument of all) {
    // A constant that is a blank is written by its value: white space ends an argument in a file.
    const plain = argument.replaceAll("' '", '32').replaceAll("'\t'", '9');
    if (/^(?!#)[^\s"]{1,78}$/.test(plain)) {
      run.push(plain);
    } else {
      end();
      made.push(quoted(argument));
    }
  }
  end();
  return made;
}

// The arguments as one command line: { line, remove }. What remove takes away, the sort needs until it has ended.
function commandLine(all) {
  const line = all.map(quoted).join(' ');
  if (line.includes('\0')) throw new RangeError('a zero byte in a command line');
  if (Buffer.byteLength(line) <= MAX_COMMAND) return { line, remove() {} };
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'fsort-'));
  const remove = () => fs.rmSync(folder, { recursive: true, force: true });
  try {
    return { line: moved(all, folder).join(' '), remove };
  } catch (error) {
    remove();
    throw error;
  }
}

module.exports = { commandLine, fileArguments, optionArguments, recordArguments, split };
