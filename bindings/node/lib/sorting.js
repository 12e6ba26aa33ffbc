'use strict';
// Sorts, each in a worker of its own, so that the event loop goes on.
//
//     the caller's thread                               the worker (holds the engine's lock)
//     -------------------                               ------------------------------------
//     takes records from the iterable  -- batches -->   refill: hands a batch to the engine
//     gives records to the for loop    <-- events ---   flush: a batch of sorted records
//                                                       the end
//
// The lock. One lock serialises all sorts of the process, and a sort holds it in its callbacks. A callback that waited
// for its caller in the ordinary way would keep it, and a caller that starts a second sort meanwhile, in the iterable
// or between two output records, would wait for ever. So callbacks wait in a record pipe, which gives the lock back:
// every sort has a mailbox, a handle on which nothing is ever sorted. Where the callback waits in FsortRetrieve, an
// FsortSend wakes it, and receiveMessageOnPort has the message that was posted before.
//
// At most one token is in a mailbox: the caller sends one for each event that the callback then waits for. FsortSend has
// to wait while another sort computes. The event loop shall not, so tokens are sent by a thread of the pool, one
// at a time, because those threads read and write files, too.
//
// The end. Whoever wants a sort to end sets its stop flag, at which the engine looks for every record, and sends a
// token in case the sort waits. The order is always: the waiting side takes the token and notes that, then looks at the
// flag; the ending side sets the flag, then looks whether a token is under way. One of the two sees the other.

const path = require('node:path');
const { MessageChannel, Worker, receiveMessageOnPort } = require('node:worker_threads');
const command = require('./command.js');
const library = require('./library.js');

const BATCH_RECORDS = 4096;
const BATCH_BYTES = 1 << 17;
const STOP = 0;
const TOKEN_UNDER_WAY = 1;
const NO_MEMORY = -1;

// A sort that failed. Its message are the engine's messages, whole; `messages` has them one by one.
class SortError extends Error {
  constructor(status, messages) {
    super(messages.join('').trim() || `fsort ended with status ${status}`);
    this.name = 'SortError';
    this.status = status;
    this.messages = messages;
  }
}

// Calls FsortSend, and FsortDestroy for mailboxes that are given up, one after the other on threads of the pool.
const office = {
  letters: [],
  busy: false,
  post(...letter) {
    this.letters.push(letter);
    this.next();
  },
  next() {
    if (this.busy || this.letters.length === 0) return;
    this.busy = true;
    const [call, ...given] = this.letters.shift();
    call.async(...given, () => {
      this.busy = false;
      this.next();
    });
  },
  // At the end of the program there is no time for others.
  close() {
    for (const [call, ...given] of this.letters.splice(0)) call(...given);
  },
};

const running = new Set();

// A worker that waits in the engine would keep the program from ending.
process.on('exit', () => {
  for (const sort of running) sort.stop();
  office.close();
});

class Sort {
  constructor(all, records, signal) {
    this.arguments = all;
    this.records = records;
    this.signal = signal;
    this.flags = new Int32Array(new SharedArrayBuffer(8));
    this.events = [];
    this.waiter = null;
    this.worker = null;
    this.ended = false;
    this.mailbox = null;
    this.onAbort = () => this.stop();
  }

  start() {
    const { line, remove } = command.commandLine(this.arguments);
    this.remove = remove;
    const { port1, port2 } = new MessageChannel();
    this.port = port1;
    this.worker = new Worker(path.join(__dirname, 'worker.js'), {
      workerData: { port: port2, line, records: this.records, stop: this.flags },
      transferList: [port2],
      name: 'fsort',
    });
    running.add(this);
    port1.on('message', (event) => this.arrive(event));
    this.worker.on('error', (fault) => this.arrive({ kind: 'end', status: 1, messages: [], fault }));
    this.worker.on('exit', () => {
      // What it said last may still be on its way.
      for (let last; (last = receiveMessageOnPort(port1)) !== undefined;) this.arrive(last.message);
      this.arrive({ kind: 'end', status: 1, messages: ['the worker ended before its sort\n'] });
    });
    this.signal?.addEventListener('abort', this.onAbort);
    this.hold(false);
  }

  arrive(event) {
    if (this.ended) return;
    if (event.kind === 'begun') {
      this.mailbox = event.mailbox;
      if (Atomics.load(this.flags, STOP) !== 0) this.post();
      return;
    }
    if (event.kind === 'end') this.release();
    this.events.push(event);
    this.waiter?.();
  }

  release() {
    this.ended = true;
    running.delete(this);
    this.signal?.removeEventListener('abort', this.onAbort);
    this.remove();
    this.port.close();
    if (this.mailbox !== null) office.post(library.destroy, this.mailbox);
  }

  // A program may end while nobody waits for the sort.
  hold(on) {
    for (const kept of [this.worker, this.port]) on ? kept.ref() : kept.unref();
  }

  // The next event: records are needed, a batch of sorted ones, or the end.
  async event() {
    if (this.events.length === 0) {
      this.hold(true);
      await new Promise((resolve) => { this.waiter = resolve; });
      this.waiter = null;
      this.hold(false);
    }
    return this.events.shift();
  }

  feed(batch) {
    const moved = batch === null ? [] : [batch.bytes.buffer, batch.lengths.buffer];
    this.port.postMessage(batch, moved);
    this.post();
  }

  // Sends a token, unless one is under way.
  post() {
    if (this.ended || this.mailbox === null) return;
    if (Atomics.exchange(this.flags, TOKEN_UNDER_WAY, 1) === 0) office.post(library.send, this.mailbox, 1, null);
  }

  stop() {
    Atomics.store(this.flags, STOP, 1);
    this.post();
  }

  // Ends the sort, whatever it is doing.
  async end() {
    if (this.worker === null) return;
    this.stop();
    while (!this.ended) await this.event();
  }

  check({ status, messages, fault }) {
    if (status === 0) return;
    if (this.signal?.aborted) throw this.signal.reason;
    if (fault) throw fault;
    if (status === NO_MEMORY) throw new Error('fsort: no memory for a sort');
    throw new SortError(status, messages);
  }
}

function asBytes(record) {
  if (typeof record === 'string') {
    throw new TypeError('a record is a Buffer or Uint8Array, not a string; Buffer.from(text) makes one');
  }
  if (!(record instanceof Uint8Array)) throw new TypeError('a record is a Buffer or Uint8Array');
  if (record.length === 0) throw new RangeError('an empty record cannot be sorted');
  return record;
}

// The records of an iterable, batch by batch.
class Source {
  constructor(records, signal) {
    this.asynchronous = records[Symbol.asyncIterator] !== undefined;
    this.iterator = (records[Symbol.asyncIterator] ?? records[Symbol.iterator]).call(records);
    this.signal = signal;
    this.ended = false;
  }

  // The next batch, null at the end. It does not wait for the iterable once the signal says so.
  batch() {
    const made = new Promise((resolve, reject) => {
      const aborted = () => reject(this.signal.reason);
      this.signal?.addEventListener('abort', aborted);
      this.fill().then(resolve, reject).finally(() => this.signal?.removeEventListener('abort', aborted));
    });
    made.catch(() => {});  // it is looked at when the engine asks for it
    return made;
  }

  async fill() {
    const records = [];
    let size = 0;
    while (size < BATCH_BYTES && records.length < BATCH_RECORDS) {
      let step = { done: true };
      try {
        step = this.asynchronous ? await this.iterator.next() : this.iterator.next();
      } finally {
        this.ended = step.done === true;  // also when it throws
      }
      if (step.done) break;
      // A copy: the owner may use its buffer again for the next record.
      const record = Buffer.from(asBytes(step.value));
      records.push(record);
      size += record.length;
    }
    if (records.length === 0) return null;
    const bytes = Buffer.allocUnsafeSlow(size);
    const lengths = new Uint32Array(records.length);
    let at = 0;
    records.forEach((record, i) => {
      bytes.set(record, at);
      lengths[i] = record.length;
      at += record.length;
    });
    return { bytes, lengths };
  }

  // As `for await` does when it is left early.
  async close() {
    if (this.ended) return;
    this.ended = true;
    const closed = this.iterator.return?.();
    if (this.signal?.aborted) Promise.resolve(closed).catch(() => {});  // it may wait for what never comes
    else await closed;
  }
}

// Nothing of a sort refers to its iterator: one that nobody has any more is collected, and that ends its sort.
const collected = new FinalizationRegistry((sort) => sort.stop());

function sorted(records, all, signal) {
  const sort = new Sort(all, true, signal);
  const iterator = steps(records, sort, signal);
  collected.register(iterator, sort);
  return iterator;
}

async function* steps(records, sort, signal) {
  signal?.throwIfAborted();
  const source = new Source(records, signal);
  try {
    let ahead = source.batch();
    sort.start();
    for (;;) {
      const event = await sort.event();
      signal?.throwIfAborted();
      if (event.kind === 'end') {
        sort.check(event);
        return;
      }
      if (event.kind === 'need') {
        const batch = await ahead;
        sort.feed(batch);
        ahead = batch === null ? null : source.batch();  // made while the engine has this one
      } else {
        sort.post();
        let at = 0;
        for (const length of event.lengths) {
          yield Buffer.from(event.bytes, at, length);
          signal?.throwIfAborted();
          at += length;
        }
      }
    }
  } finally {
    await sort.end();
    await source.close();
  }
}

async function sortedFiles(all, signal) {
  signal?.throwIfAborted();
  const sort = new Sort(all, false, signal);
  try {
    sort.start();
    const event = await sort.event();
    sort.check(event);
    return event.messages.join('');
  } finally {
    await sort.end();
  }
}

module.exports = { SortError, sorted, sortedFiles };
