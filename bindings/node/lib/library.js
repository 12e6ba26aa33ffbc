'use strict';
// Finds the two shared libraries and says what their functions take.
//
// libfsort is the engine; libfsort_batches moves records in and out of it many at a time (its header tells how).
// Both lie in one folder: native/ of this package, or the one that the variable FSORT_LIBRARY_PATH names.

const path = require('node:path');
const koffi = require('koffi');

const folder = path.resolve(process.env.FSORT_LIBRARY_PATH || path.join(__dirname, '..', 'native'));
const names = process.platform === 'win32' ? ['fsort.dll', 'fsort_batches.dll']
  : ['libfsort.so.0', 'libfsort_batches.so'];

function load(name) {
  const file = path.join(folder, name);
  try {
    return koffi.load(file);
  } catch (error) {
    throw new Error(`fsort: the library ${file} cannot be loaded (${error.message}); FSORT_LIBRARY_PATH may name ` +
      'the folder that holds it');
  }
}

// The second library needs the first one. It is found because it is loaded already.
const [engine, batches] = names.map(load);

module.exports = {
  koffi,
  // The types of the callbacks.
  Display: koffi.pointer(koffi.proto('void', ['str'])),
  Refill: koffi.pointer(koffi.proto('int32_t', [])),
  Flush: koffi.pointer(koffi.proto('int32_t', ['void *', 'void *', 'uint64_t'])),

  create: engine.func('FsortCreate', 'void *', ['void *', 'void *']),
  destroy: engine.func('FsortDestroy', 'void', ['void *']),
  send: engine.func('FsortSend', 'void', ['void *', 'uint64_t', 'void *']),
  retrieve: engine.func('FsortRetrieve', 'void', ['void *', 'void *', 'void *']),
  sort: batches.func('FsortBatchesSort', 'int32_t', ['str', 'void *', 'void *', 'void *', 'void *']),
  feed: batches.func('FsortBatchesFeed', 'int32_t', ['void *', 'void *', 'uint64_t']),
};
