#!/usr/bin/env node
'use strict';
// Puts the npm package together: the sources and the two shared libraries, packed by npm.
//
//   bindings/node/build_package.js [build folder [folder of the package]]   defaults: build/release, its npm/
//
// Prints the name of the package. The libraries are those of this system (Linux or Windows, 64-bit x86); a package
// for both is made by a build folder whose lib/ or bin/ holds both.

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.join(__dirname, '..', '..');
const LIBRARIES = ['lib/libfsort.so.0', 'lib/libfsort_batches.so', 'bin/fsort.dll', 'bin/fsort_batches.dll'];

function checkVersion() {
  const header = fs.readFileSync(path.join(root, 'include', 'fsort.h'), 'utf8');
  const wanted = /FSORT_VERSION_STRING "([^"]+)"/.exec(header)[1];
  const { version } = require('./package.json');
  if (version !== wanted) throw new Error(`package.json has version ${version}, fsort.h ${wanted}`);
}

function main() {
  const build = path.resolve(process.argv[2] ?? path.join(root, 'build', 'release'));
  const out = path.resolve(process.argv[3] ?? path.join(build, 'npm'));
  checkVersion();
  const found = LIBRARIES.map((name) => path.join(build, name)).filter((name) => fs.existsSync(name));
  if (found.length === 0) {
    throw new Error(`no libraries in ${build}; build it first: cmake --preset release && cmake --build --preset release`);
  }
  const stage = fs.mkdtempSync(path.join(os.tmpdir(), 'fsort-npm-'));
  try {
    for (const name of ['index.js', 'index.d.ts', 'package.json', 'README.md', 'lib', 'examples']) {
      fs.cpSync(path.join(__dirname, name), path.join(stage, name), { recursive: true });
    }
    fs.copyFileSync(path.join(root, 'LICENSE'), path.join(stage, 'LICENSE'));
    fs.mkdirSync(path.join(stage, 'native'));
    for (const name of found) fs.copyFileSync(name, path.join(stage, 'native', path.basename(name)));
    fs.mkdirSync(out, { recursive: true });
    const shell = process.platform === 'win32';
    const packed = execFileSync('npm', ['pack', '--silent', '--pack-destination', out], { cwd: stage, shell });
    console.log(path.join(out, packed.toString().trim()));
  } finally {
    fs.rmSync(stage, { recursive: true });
  }
}

main();
