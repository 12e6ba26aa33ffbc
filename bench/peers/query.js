// Runs one statement in an engine inside this process.
//
//   query.js duckdb|clickhouse THREADS MEMORY_MB FOLDER STATEMENT
//   query.js duckdb|clickhouse version
//
// THREADS and FOLDER, where spilled data goes, are told to DuckDB at its start; a MEMORY_MB of 0 leaves its
// limit as it is. ClickHouse takes threads and memory from the statement's settings and only its folder here.
// The engines are found through NODE_PATH.
"use strict";

async function duckdb(threads, memory, folder, statement) {
  const { DuckDBInstance } = require("@duckdb/node-api");
  const options = { threads, temp_directory: folder };
  if (memory !== "0") options.memory_limit = `${memory}MB`;
  const connection = await (await DuckDBInstance.create(":memory:", options)).connect();
  return (await connection.runAndReadAll(statement)).getRows();
}

async function clickhouse(threads, memory, folder, statement) {
  const { Session } = require("chdb");
  const session = new Session(folder);
  const text = session.query(statement, "CSV");
  session.close();
  return text;
}

async function main([engine, ...rest]) {
  const run = { duckdb, clickhouse }[engine];
  if (run === undefined || (rest.length !== 4 && rest[0] !== "version")) {
    throw new Error("usage: query.js duckdb|clickhouse THREADS MEMORY_MB FOLDER STATEMENT");
  }
  if (rest[0] === "version") {
    const fs = require("fs");
    const folder = fs.mkdtempSync(require("path").join(require("os").tmpdir(), "query-"));
    console.log(String(await run("1", "0", folder, "SELECT version()")).trim().replace(/"/g, ""));
    fs.rmSync(folder, { recursive: true });
    return;
  }
  await run(...rest);
}

main(process.argv.slice(2)).then(
  () => process.exit(0),
  (error) => {
    console.error(String(error.message).slice(0, 500));
    process.exit(1);
  },
);
