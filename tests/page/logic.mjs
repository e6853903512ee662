// SPDX-License-Identifier: MIT
// Runs the tests of what the page computes. usage: node logic.mjs ROOM OUTPUT
// ROOM is the folder in which the page was built, with its packages and sources.
import {spawnSync} from 'node:child_process';
import {mkdirSync, readdirSync} from 'node:fs';
import {createRequire} from 'node:module';
import {dirname, join, resolve} from 'node:path';
import {fileURLToPath} from 'node:url';

const [room, output] = process.argv.slice(2).map((path) => resolve(path));
const folder = join(dirname(fileURLToPath(import.meta.url)), 'logic');
const {buildSync} = createRequire(join(room, 'package.json'))('esbuild');
const tests = readdirSync(folder).filter((name) => name.endsWith('.test.ts'));
mkdirSync(output, {recursive: true});
buildSync({
  entryPoints: tests.map((name) => join(folder, name)),
  outdir: output,
  outExtension: {'.js': '.mjs'},
  bundle: true,
  platform: 'node',
  format: 'esm',
  alias: {'@page': join(room, 'src')},
});
const files = tests.map((name) => join(output, name.replace(/\.ts$/, '.mjs')));
const {status} = spawnSync(process.execPath, ['--test', ...files], {stdio: 'inherit'});
process.exitCode = status ?? 1;
