'use strict';
// The thread of one sort. It is inside the engine from start to end; what it does in JavaScript are the callbacks.
// sorting.js tells how it works with the thread that wants the records.

const { receiveMessageOnPort, workerData } = require('node:worker_threads');
const library = require('./library.js');

const { koffi } = library;
const { port, line, records, stop } = workerData;
const mailbox = library.create(null, null);
const messages = [];
let flushed = false;
let fault = null;

// Waits for a token of the caller and gives the engine's lock back meanwhile. Result: whether the sort goes on.
function wait() {
  const length = new BigUint64Array(1);
  const record = new BigUint64Array(1);
  library.retrieve(mailbox, length, record);
  Atomics.store(stop, 1, 0);  // the token is taken: before the stop flag is looked at
  return Atomics.load(stop, 0) === 0;
}

function refill() {
  port.postMessage({ kind: 'need' });
  if (!wait()) return 1;
  const batch = receiveMessageOnPort(port).message;
  return batch === null ? 0 : library.feed(batch.bytes, batch.lengths, batch.lengths.length);
}

function flush(bytes, lengths, count) {
  const sizes = new Uint32Array(koffi.view(lengths, Number(count) * 4).slice(0));
  const size = sizes.reduce((sum, length) => sum + length, 0);
  const copy = koffi.view(bytes, size).slice(0);
  if (flushed && !wait()) return 1;  // until the caller has taken the batch before
  flushed = true;
  port.postMessage({ kind: 'batch', bytes: copy, lengths: sizes }, [copy, sizes.buffer]);
  return 0;
}

// Nothing may leave a callback.
function guarded(body) {
  return (...given) => {
    try {
      return body(...given);
    } catch (error) {
      fault = error;
      return 1;
    }
  };
}

function run() {
  if (!mailbox) return -1;
  port.postMessage({ kind: 'begun', mailbox });
  const callbacks = [koffi.register((text) => { messages.push(text.replace(/\r\n/g, '\n')); }, library.Display)];
  if (records) {
    callbacks.push(koffi.register(guarded(refill), library.Refill), koffi.register(guarded(flush), library.Flush));
  }
  const [display, fill, empty] = callbacks;
  try {
    return library.sort(line, display, fill ?? null, empty ?? null, stop);
  } finally {
    callbacks.forEach((callback) => koffi.unregister(callback));
  }
}

const status = run();
port.postMessage({ kind: 'end', status, messages, fault });
port.close();
