// SPDX-License-Identifier: MIT
// Exports and imports.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {changesOf} from '@page/edits';
import {exportText, importEdits, readFile} from '@page/files';
import {defaultValue, Values} from '@page/values';
import {field, schemaOf, stored} from './things';

const schema = schemaOf([
  field(11, 'string', {default: 'gateway'}),
  field(12, 'string', {scope: 'system'}),
]);
const device = '02:00:00:00:00:01';

function fileOf(...entries: object[]) {
  const text = JSON.stringify({format: 'property-dump', version: 1, values: entries});
  const file = readFile(text);
  assert.ok(file);
  return file;
}

test('what is stored is exported, and comes back as no change', () => {
  const values = new Values([
    stored(11, 'north "1"\n<b>'),
    stored(12, 'all', 7),
    {number: 12, record: null, secret: true, value: null, source: 'server'},
  ]);
  const file = readFile(exportText(schema, values, device));
  assert.ok(file);
  assert.deepEqual(file.devices, [device]);
  assert.equal(file.entries.length, 3);
  const found = importEdits(file, device, schema, values);
  assert.equal(found.edits.size, 0);
  assert.equal(found.secrets, 1);
});

test('defaults are not exported', () => {
  const field11 = schema.fieldOf.get(11);
  assert.ok(field11);
  const values = new Values([defaultValue(field11, null)]);
  assert.equal(readFile(exportText(schema, values, device))?.entries.length, 0);
});

test('differences become edits, by number or path', () => {
  const file = fileOf(
    {number: 11, record: null, device, value: 'south'},
    {path: 'Device/Group/Field12', record: 3, value: 'x'},
  );
  const found = importEdits(file, device, schema, new Values([stored(11, 'north')]));
  assert.deepEqual(changesOf(found.edits), [
    {number: 11, record: null, value: 'south'},
    {number: 12, record: 3, value: 'x'},
  ]);
});

test('values of other devices are left out, unless they are asked for', () => {
  const other = '02:00:00:00:00:02';
  const file = fileOf({number: 11, device: other, value: 'south'});
  assert.equal(importEdits(file, device, schema, new Values()).edits.size, 0);
  assert.equal(importEdits(file, other, schema, new Values()).edits.size, 1);
});

test('numbers and paths that are not there are counted', () => {
  const file = fileOf({number: 99, value: 'x'}, {path: 'Nowhere', value: 'x'}, {value: 'x'});
  assert.equal(importEdits(file, device, schema, new Values()).unknown, 3);
});

test('what is no file of values is none', () => {
  for (const text of [
    '',
    '[]',
    'null',
    '{"format":"property-dump","version":2,"values":[]}',
    '{"format":"property-dump","version":1}',
    '{"format":"other","version":1,"values":[]}',
    '{"format":"property-dump","version":1,"values":[',
  ]) {
    assert.equal(readFile(text), null, text);
  }
});

test('entries of a wrong form change nothing', () => {
  const file = fileOf(
    {number: 11, value: 5},
    {number: 11, record: 'x', value: 'a'},
    {number: 11, record: 1.5, value: 'a'},
    {number: '11', value: 'a'},
  );
  assert.equal(importEdits(file, device, schema, new Values()).edits.size, 0);
});
