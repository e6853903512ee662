// SPDX-License-Identifier: MIT
// Writes the built page as one C++ source. usage: node embed.mjs DIST OUTPUT
import {readFileSync, readdirSync, writeFileSync} from 'node:fs';
import {extname, join} from 'node:path';
import {gzipSync} from 'node:zlib';

const types = {
  '.css': 'text/css; charset=utf-8',
  '.html': 'text/html; charset=utf-8',
  '.js': 'text/javascript; charset=utf-8',
  '.svg': 'image/svg+xml',
};

// Three digits each, so that no digit behind can be taken for one more.
function literal(bytes) {
  const lines = [];
  for (let begin = 0; begin < bytes.length; begin += 24) {
    let line = '';
    for (const byte of bytes.subarray(begin, begin + 24)) {
      const isPlain = byte >= 0x20 && byte < 0x7f && !'"\\?'.includes(String.fromCharCode(byte));
      line += isPlain ? String.fromCharCode(byte) : '\\' + byte.toString(8).padStart(3, '0');
    }
    lines.push(`    "${line}"`);
  }
  return lines.length === 0 ? '    ""' : lines.join('\n');
}

const [dist, output] = process.argv.slice(2);
const files = [{path: '/', file: 'index.html'}];
for (const name of readdirSync(join(dist, 'assets')).sort()) {
  files.push({path: '/assets/' + name, file: join('assets', name)});
}

const texts = [];
const entries = [];
files.forEach(({path, file}, index) => {
  const type = types[extname(file)];
  if (type === undefined) {
    throw new Error(`no content type is known for ${file}`);
  }
  const content = readFileSync(join(dist, file));
  const packed = gzipSync(content, {level: 9});
  const isShorter = packed.length < content.length;
  texts.push(`constexpr char kContent${index}[] =\n${literal(content)};\n`);
  if (isShorter) {
    texts.push(`constexpr char kPacked${index}[] =\n${literal(packed)};\n`);
  }
  const packedView = isShorter ? `{kPacked${index}, sizeof(kPacked${index}) - 1}` : '{}';
  entries.push(
    `      {"${path}", "${type}", {kContent${index}, sizeof(kContent${index}) - 1}, ${packedView}},\n`,
  );
});

writeFileSync(
  output,
  `// SPDX-License-Identifier: MIT
// Made of PropertyConsole/page.
#include "PropertyConsole/TSPageFile.h"

namespace Property {
namespace {

${texts.join('\n')}
}  // namespace

std::vector<TSPageFile> const& PageFiles() {
  static std::vector<TSPageFile> const Files = {
${entries.join('')}  };
  return Files;
}

}  // namespace Property
`,
);
