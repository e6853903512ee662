// SPDX-License-Identifier: MIT
// What stands on the page, and what a search finds.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {Dependencies} from '@page/dependencies';
import {branchRows, foundRows, type RowSource} from '@page/rows';
import {Schema, type Field, type View} from '@page/schema';
import {visible} from '@page/show';
import {Values} from '@page/values';
import {choices, field, schemaOf, stored} from './things';

function sourceOf(schema: Schema, values: Values, view: View = 'basic'): RowSource {
  return {
    values,
    view,
    dependencies: new Dependencies(schema),
    read: (place) => values.get(place)?.value ?? null,
  };
}

function kindsOf(schema: Schema, values = new Values(), view: View = 'basic'): string[] {
  const [root] = schema.roots;
  assert.ok(root);
  return branchRows(root, sourceOf(schema, values, view)).map((row) => row.kind);
}

test('a view shows what its visibility says', () => {
  const schema = schemaOf([
    field(11, 'string'),
    field(12, 'string', {visibility: 'advanced'}),
    field(13, 'string', {visibility: 'hidden'}),
  ]);
  const fields = (view: View) =>
    kindsOf(schema, new Values(), view).filter((kind) => kind === 'field').length;
  assert.deepEqual([fields('basic'), fields('advanced'), fields('all')], [1, 2, 3]);
});

test('a group with nothing to show is not there', () => {
  const schema = schemaOf([field(11, 'string', {visibility: 'advanced'})]);
  assert.deepEqual(kindsOf(schema), []);
});

test('neighbours that do not apply for one reason share a line', () => {
  const on = (target: number) => ({source: 11, target, mode: 1, value: null});
  const schema = schemaOf(
    [field(11, 'boolean'), field(12, 'string'), field(13, 'string'), field(14, 'string')],
    [on(12), on(13)],
  );
  assert.deepEqual(kindsOf(schema), ['heading', 'heading', 'field', 'away', 'field']);
  const values = new Values([stored(11, '1')]);
  assert.equal(kindsOf(schema, values).filter((kind) => kind === 'field').length, 4);
});

test('values of records make a table', () => {
  const schema = schemaOf([field(11, 'string')]);
  const values = new Values([stored(11, 'a', 8), stored(11, 'b', 7)]);
  assert.deepEqual(kindsOf(schema, values), ['heading', 'heading', 'records', 'without']);
  assert.deepEqual(values.recordsOf(schema.fields), [7, 8]);
});

test('a record whose last value goes is gone', () => {
  const schema = schemaOf([field(11, 'string')]);
  const values = new Values([stored(11, 'a', 8)]);
  values.set({number: 11, record: 8, secret: false, value: null, source: 'none'});
  assert.deepEqual(values.recordsOf(schema.fields), []);
});

test('a search finds names, descriptions, numbers and choices, all words, in any case', () => {
  const schema = schemaOf([
    field(11, 'choice', {name: 'AddressMode', choices: choices(111)}),
    field(12, 'string', {description: 'Mail server'}),
  ]);
  const found = (text: string) => schema.search(text, 'basic').map((entry: Field) => entry.number);
  assert.deepEqual(found('addressmode'), [11]);
  assert.deepEqual(found('SERVER mail'), [12]);
  assert.deepEqual(found('choice 111'), [11]);
  assert.deepEqual(found('mail nothing'), []);
  assert.deepEqual(found('.*'), []);
});

test('a search of 5,000 properties takes no work that somebody feels', () => {
  const schema = schemaOf(
    Array.from({length: 5000}, (_, index) => field(1000 + index, 'string')),
  );
  const begin = process.cpuUsage();
  const rows = foundRows(schema.search('field descr', 'basic'), sourceOf(schema, new Values()));
  assert.equal(rows.length, 5000);
  const {user, system} = process.cpuUsage(begin);
  assert.ok(user + system < 250_000, `${user + system} µs`);
});

test('what lies in itself or nowhere is still shown', () => {
  const schema = new Schema({
    nodes: [
      {number: 1, parent: 2, kind: 'group', name: 'One', visibility: 'shown'},
      {number: 2, parent: 1, kind: 'group', name: 'Two', visibility: 'shown'},
      field(11, 'string', {parent: 2}),
      field(12, 'string', {parent: 99}),
    ],
    dependencies: [],
  });
  const rows = schema.roots.flatMap((root) => branchRows(root, sourceOf(schema, new Values())));
  const numbers = rows.flatMap((row) => (row.kind === 'field' ? [row.field.number] : []));
  assert.deepEqual(numbers.sort(), [11, 12]);
});

test('characters that are not seen are made visible', () => {
  assert.equal(visible('a\nb\u202ec\u0007'), 'a␊b\\u202ec␇');
  assert.equal(visible('Grüße, 世界'), 'Grüße, 世界');
});
