// Compiled, not run: what the types allow and what they refuse.
import { createReadStream } from 'node:fs';
import { Key, SortError, run, sort, sortFile } from 'fsort';

async function* lines(): AsyncGenerator<Buffer> {
  for await (const chunk of createReadStream('in.txt')) yield chunk as Buffer;
}

export async function all(): Promise<string> {
  const key: Key = { field: 1, columns: [0, 3], numeric: true, descending: true, order: 'nocase', skip: ' ' };
  for await (const record of sort(lines(), { keys: [key, '-k -c 0', { columns: [4] }], delimiter: ';' })) {
    const text: string = record.toString('latin1');
    if (text === '') break;
  }
  for await (const record of sort([new Uint8Array(1)], { command: '-k' })) record.readUInt8(0);
  await sortFile({ input: ['a', new URL('file:///b')], output: 'c', record: 'fixed', recordSize: 80, memory: '64m' });
  try {
    return await run('<a >b', { signal: AbortSignal.timeout(1000) });
  } catch (error) {
    return error instanceof SortError ? error.messages.join('') + String(error.status) : '';
  }
}

// @ts-expect-error: texts are no records
sort(['text']);
// @ts-expect-error: an output is missing
void sortFile({ input: 'a' });
// @ts-expect-error: there is no such key
sort([], { keys: { fields: 1 } });
// @ts-expect-error: there is no such type of records
void sortFile({ input: 'a', output: 'b', record: 'lines' });
