/// <reference types="node" />

/** Byte values: a text (its UTF-8 bytes), one value, or several. */
export type ByteValues = string | number | Uint8Array | readonly number[];

/** One key: what of a record counts, and how. All numbers count from 0. */
export interface Key {
  /** Number of the field, or a range of fields; the whole record without it. */
  field?: number | readonly [first: number, last: number];
  /** One byte of the field, a range of bytes with both ends, or `[first]`: from there to the end. All without it. */
  columns?: number | readonly [first: number, last?: number];
  /** Compares numbers, not bytes. */
  numeric?: boolean;
  /** The largest first. */
  descending?: boolean;
  /** How many digits behind the point count in a numeric key. */
  decimals?: number;
  /**
   * `'bytes'`: by the value of every byte (the default). `'nocase'`: the same, ASCII letters without their case.
   * `'text'`: the engine's own, in which a byte that is not printable ASCII ends the key. Otherwise ranges as in the
   * command line, such as `'a'-'z' -r 'A'-'Z'`.
   */
  order?: 'bytes' | 'nocase' | 'text' | (string & {});
  /** Bytes that are skipped in front of the key. */
  skip?: ByteValues;
}

/** A key, a text as on the command line (`-k 0-255 -c 0-3`), or several of these, the most important first. */
export type Keys = string | Key | ReadonlyArray<string | Key>;

export interface CommonOptions {
  /** Without keys: whole records by the values of their bytes. */
  keys?: Keys;
  /** Of records that are equal on all keys one is given. */
  unique?: boolean;
  /** The bytes that separate fields; a tab unless given. */
  delimiter?: ByteValues;
  /** Memory for the sort: bytes, or a text like `512m`. */
  memory?: number | string;
  /** Folder of the work files; the current one unless given. */
  workDir?: string | URL;
  /** What a record that lacks a key is; an error unless given. */
  short?: 'mfr' | 'mcf' | 'mcr';
  /** Further global options, as on the command line. */
  options?: string;
  /** Ends the sort; what waits for it is rejected with the signal's reason. */
  signal?: AbortSignal;
}

export type SortOptions = CommonOptions | {
  /** The whole command line instead of all other options. */
  command: string;
  signal?: AbortSignal;
};

export interface FileOptions extends CommonOptions {
  /** The files to sort, 16 at most. */
  input: string | URL | ReadonlyArray<string | URL>;
  output: string | URL;
  /** `'text'`: lines (the default). `'fixed'`: records of `recordSize` bytes. `'variable'`: with a length field. */
  record?: 'text' | 'fixed' | 'variable';
  /** The longest record in bytes; 511 for text and variable records unless given. */
  recordSize?: number;
  /** Positions of the high and of the low byte of the length; `[1, 0]` unless given. */
  lengthField?: number | readonly [high: number, low: number];
}

/** A sort that failed. Its message are the engine's messages, whole. */
export class SortError extends Error {
  /** 1, or another status of the engine. */
  readonly status: number;
  /** The messages one by one, each with its line break. */
  readonly messages: readonly string[];
  constructor(status: number, messages: readonly string[]);
}

/**
 * Sorts the records of any iterable. The sort begins when the first record is asked for. It takes all records of the
 * iterable and keeps them in its own memory and in work files; then the iterator gives them in order. An exception of
 * the iterable ends the sort and comes out of the iterator, as it is. Leaving the loop ends the sort, too.
 *
 * A record is any bytes but none at all, 65,530 at most. Lines may end in a line break and keep it.
 */
export function sort(records: Iterable<Uint8Array> | AsyncIterable<Uint8Array>,
                     options?: SortOptions): AsyncGenerator<Buffer, void, undefined>;

/**
 * Sorts files to a file. No record passes through JavaScript. If the sort fails or is aborted, the output file may hold
 * a part of the records.
 */
export function sortFile(options: FileOptions): Promise<void>;

/** Sorts the files that a command line names, as the tool would. Gives what the sort said, such as how long it took. */
export function run(command: string, options?: { signal?: AbortSignal }): Promise<string>;
