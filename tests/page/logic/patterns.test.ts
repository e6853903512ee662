// SPDX-License-Identifier: MIT
// Which texts a field may have.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {matchesPattern, normalised, problemOf} from '@page/patterns';
import {choices, field, fieldOf} from './things';

test('the whole text has to match', () => {
  assert.equal(matchesPattern('abc', '[a-z]'), false);
  assert.equal(matchesPattern('a', 'a|b'), true);
  assert.equal(matchesPattern('ab', 'a|b'), false);
  assert.equal(matchesPattern('gw-north', '^[a-z0-9]([a-z0-9-]{0,61}[a-z0-9])?$'), true);
});

test('a text is matched byte by byte, as in the service', () => {
  assert.equal(matchesPattern('ä', '^.$'), false);
  assert.equal(matchesPattern('ä', '^..$'), true);
  assert.equal(matchesPattern('ä', '^ä$'), true);
});

test('what browsers do not understand is left to the service', () => {
  assert.equal(matchesPattern('1', '^[[:alpha:]]$'), true);
  assert.equal(matchesPattern('1', '(('), true);
});

test('whole numbers have 32 bits', () => {
  const number = fieldOf(field(11, 'integer'));
  for (const text of ['0', '-1', '2147483647', '-2147483648', '']) {
    assert.equal(problemOf(number, text), null, text);
  }
  for (const text of ['2147483648', '-2147483649', '1.5', '1e3', 'a', ' 1', '0x10', '٣']) {
    assert.equal(problemOf(number, text), 'number', text);
  }
});

test('a choice is one of its numbers', () => {
  const chosen = fieldOf(field(11, 'choice', {choices: choices(111), pattern: '^x$'}));
  assert.equal(problemOf(chosen, '111'), null);
  assert.equal(problemOf(chosen, '112'), 'choice');
});

test('a truth value is 0 or 1', () => {
  const flag = fieldOf(field(11, 'boolean'));
  assert.equal(problemOf(flag, '1'), null);
  assert.equal(problemOf(flag, 'true'), 'boolean');
});

test('a text for a pattern has a bound, and no other', () => {
  const long = 'a'.repeat(4097);
  assert.equal(problemOf(fieldOf(field(11, 'string', {pattern: '^a*$'})), long), 'long');
  assert.equal(problemOf(fieldOf(field(11, 'string')), long), null);
});

test('numbers lose the sign and the zeros before them, texts nothing', () => {
  assert.equal(normalised(fieldOf(field(11, 'integer')), ' +007 '), '7');
  assert.equal(normalised(fieldOf(field(11, 'integer')), '-0'), '0');
  assert.equal(normalised(fieldOf(field(11, 'integer')), 'seven'), 'seven');
  assert.equal(normalised(fieldOf(field(11, 'string')), ' 007'), ' 007');
});
