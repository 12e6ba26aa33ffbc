#!/usr/bin/env node
'use strict';
// Counts the words of a text without keeping them: the words are sorted, equal ones follow each other.
//
//   node sort_words.js FILE

const fs = require('node:fs');
const readline = require('node:readline');
const { sort } = require('fsort');

async function* words(file) {
  for await (const line of readline.createInterface({ input: fs.createReadStream(file) })) {
    for (const word of line.toLowerCase().match(/\p{L}+/gu) ?? []) yield Buffer.from(word);
  }
}

async function* counted(file) {
  let last = null;
  let count = 0;
  for await (const word of sort(words(file))) {
    if (last !== null && !word.equals(last)) {
      yield Buffer.from(`${count}\t${last}\n`);
      count = 0;
    }
    last = word;
    ++count;
  }
  if (last !== null) yield Buffer.from(`${count}\t${last}\n`);
}

async function main() {
  // The counts are sorted too, the most frequent word first: one sort is the input of another.
  const keys = [{ field: 0, numeric: true, descending: true }, { field: 1 }];
  for await (const line of sort(counted(process.argv[2]), { keys })) process.stdout.write(line);
}

main();
