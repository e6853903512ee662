// SPDX-License-Identifier: MIT
// What governs what.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {Dependencies} from '@page/dependencies';
import type {Dependency, Place, SchemaNode} from '@page/api';
import {choices, field, schemaOf} from './things';

type Held = Record<string, string | null | undefined>;

/** The dependencies, and a reading of what is held by "number" and "number/record". */
function world(fields: SchemaNode[], dependencies: Dependency[], held: Held) {
  const schema = schemaOf(fields, dependencies);
  const read = ({number, record}: Place) => {
    const own = `${number}/${record}`;
    return own in held ? held[own] : String(number) in held ? held[String(number)] : null;
  };
  const all = new Dependencies(schema);
  return {
    all,
    read,
    schema,
    applies: (number: number, record: number | null = null) =>
      all.of({number, record}, read).applies,
  };
}

const on = (source: number, target: number, mode = 1, value: string | null = null) => ({
  source,
  target,
  mode,
  value,
});

test('a field without dependency applies', () => {
  assert.equal(world([field(11, 'string')], [], {}).applies(11), true);
});

test('a field applies while its boolean field is on', () => {
  const fields = [field(11, 'boolean'), field(12, 'string')];
  for (const [text, expected] of [['1', true], ['0', false], [null, false]] as const) {
    assert.equal(world(fields, [on(11, 12)], {11: text}).applies(12), expected);
  }
});

test('the mode 0 turns the condition round', () => {
  const fields = [field(11, 'boolean'), field(12, 'string')];
  assert.equal(world(fields, [on(11, 12, 0)], {11: '1'}).applies(12), false);
  assert.equal(world(fields, [on(11, 12, 0)], {11: '0'}).applies(12), true);
});

test('a truth value is that of the governing field where the governed one has none', () => {
  const fields = [field(11, 'boolean'), field(12, 'integer')];
  assert.equal(world(fields, [on(11, 12, 1, 'false')], {11: '1'}).applies(12), false);
  assert.equal(world(fields, [on(11, 12, 1, 'false')], {11: '0'}).applies(12), true);
  assert.equal(world(fields, [on(11, 12, 0, 'true')], {11: '1'}).applies(12), false);
});

test('a field applies while a choice is taken, and choices of one field are alternatives', () => {
  const fields = [field(11, 'choice', {choices: choices(111, 112, 113)}), field(12, 'string')];
  const both = [on(111, 12), on(112, 12)];
  for (const [text, expected] of [['111', true], ['112', true], ['113', false]] as const) {
    assert.equal(world(fields, both, {11: text}).applies(12), expected);
  }
});

test('different governing fields have to agree all', () => {
  const fields = [field(11, 'boolean'), field(12, 'boolean'), field(13, 'string')];
  const both = [on(11, 13), on(12, 13)];
  assert.equal(world(fields, both, {11: '1', 12: '0'}).applies(13), false);
  assert.equal(world(fields, both, {11: '1', 12: '1'}).applies(13), true);
});

test('what is governed by a field that does not apply does not apply either', () => {
  const fields = [field(11, 'boolean'), field(12, 'boolean'), field(13, 'string')];
  const {all, read, applies} = world(fields, [on(11, 12), on(12, 13)], {11: '0', 12: '1'});
  assert.equal(applies(13), false);
  const {conditions} = all.of({number: 13, record: null}, read);
  assert.deepEqual(conditions.map((condition) => condition.field.number), [11]);
});

test('fields that govern each other apply by each other, without end', () => {
  const fields = [field(11, 'boolean'), field(12, 'boolean')];
  const round = [on(11, 12), on(12, 11)];
  assert.equal(world(fields, round, {11: '1', 12: '1'}).applies(11), true);
  assert.equal(world(fields, round, {11: '1', 12: '0'}).applies(11), false);
  assert.equal(world(fields, round, {11: '1', 12: '0'}).applies(12), true);
});

test('a governing value that is not told counts as there', () => {
  const fields = [field(11, 'boolean'), field(12, 'string')];
  assert.equal(world(fields, [on(11, 12)], {11: undefined}).applies(12), true);
});

test('texts govern while they are there, whole numbers while they are not 0', () => {
  for (const [type, text, expected] of [
    ['string', 'a', true],
    ['string', '', false],
    ['string', '0', true],
    ['integer', '0', false],
    ['integer', '-1', true],
  ] as const) {
    const fields = [field(11, type), field(12, 'string')];
    assert.equal(world(fields, [on(11, 12)], {11: text}).applies(12), expected, `${type} ${text}`);
  }
});

test('a record is governed by its own value', () => {
  const fields = [field(11, 'boolean'), field(12, 'string')];
  const {applies} = world(fields, [on(11, 12)], {11: '0', '11/7': '1'});
  assert.equal(applies(12, 7), true);
  assert.equal(applies(12, 8), false);
});

test('a choice that is a target limits what is offered', () => {
  const fields = [field(11, 'boolean'), field(12, 'choice', {choices: choices(121, 122, 123)})];
  const offered = (mode: number, text: string) => {
    const {all, read, schema} = world(fields, [on(11, 122, mode)], {11: text});
    const target = schema.fieldOf.get(12);
    assert.ok(target);
    return all.choicesOf(target, null, read).map((choice) => choice.number);
  };
  assert.deepEqual(offered(1, '1'), [122]);
  assert.deepEqual(offered(0, '1'), [121, 123]);
  assert.deepEqual(offered(1, '0'), [121, 122, 123]);
});

test('a value goes with a choice and hides nothing', () => {
  const fields = [field(11, 'choice', {choices: choices(111, 112)}), field(12, 'integer')];
  const {all, read, applies} = world(fields, [on(111, 12, 1, '25'), on(112, 12, 1, '465')], {
    11: '112',
  });
  assert.equal(applies(12), true);
  assert.equal(all.presetOf({number: 12, record: null}, read)?.text, '465');
});

test('dependencies of numbers that are not there are passed over', () => {
  const {applies} = world([field(11, 'string')], [on(99, 11), on(11, 98), on(10, 11)], {});
  assert.equal(applies(11), true);
});
