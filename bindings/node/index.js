'use strict';
// What the package offers; index.d.ts describes it.

const command = require('./lib/command.js');
const { SortError, sorted, sortedFiles } = require('./lib/sorting.js');

const SORT_OPTIONS = ['keys', 'unique', 'delimiter', 'memory', 'workDir', 'short', 'options'];
const FILE_OPTIONS = ['input', 'output', 'record', 'recordSize', 'lengthField'];

function checkNames(given, known) {
  const unknown = Object.keys(given).find((name) => !known.includes(name));
  if (unknown !== undefined) throw new TypeError(`there is no option "${unknown}"`);
}

function sort(records, options = {}) {
  if (records === null || records === undefined || typeof records === 'string' || records instanceof Uint8Array ||
      (records[Symbol.asyncIterator] ?? records[Symbol.iterator]) === undefined) {
    throw new TypeError('an iterable of records is wanted');
  }
  checkNames(options, [...SORT_OPTIONS, 'command', 'signal']);
  if (options.command === undefined) return sorted(records, command.optionArguments(options), options.signal);
  if (SORT_OPTIONS.some((name) => options[name] !== undefined)) {
    throw new TypeError('command: it takes the place of all other options');
  }
  return sorted(records, command.split(options.command), options.signal);
}

async function sortFile(options) {
  checkNames(options, [...SORT_OPTIONS, ...FILE_OPTIONS, 'signal']);
  const all = [...command.fileArguments(options), ...command.recordArguments(options),
    ...command.optionArguments(options)];
  await sortedFiles(all, options.signal);
}

async function run(line, { signal } = {}) {
  const all = command.split(line);
  const directive = all.some((argument) => argument.startsWith('-#'));
  for (const [what, mark, option] of [['input', '<', '-in'], ['output', '>', '-out']]) {
    if (!directive && !all.some((argument) => argument.startsWith(mark) || argument.toLowerCase() === option)) {
      throw new RangeError(`the command line names no ${what} file`);
    }
  }
  return sortedFiles(all, signal);
}

module.exports = { SortError, run, sort, sortFile };
