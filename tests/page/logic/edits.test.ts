// SPDX-License-Identifier: MIT
// Edits, and values that change meanwhile.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {
  changesOf,
  conflictsIn,
  decide,
  drop,
  editedText,
  enter,
  merge,
  noteRefusals,
  settle,
  type Edits,
} from '@page/edits';
import {defaultValue} from '@page/values';
import {field, fieldOf, stored} from './things';

const name = fieldOf(field(11, 'string', {default: 'gateway'}));
const place = {number: 11, record: null};
const nothing: Edits = new Map();

test('an edit becomes a change', () => {
  const edits = enter(nothing, place, 'new', stored(11, 'old'), name);
  assert.deepEqual(changesOf(edits), [{number: 11, record: null, value: 'new'}]);
});

test('a text that is there already is no edit', () => {
  assert.equal(enter(nothing, place, 'old', stored(11, 'old'), name).size, 0);
  const edits = enter(nothing, place, 'new', stored(11, 'old'), name);
  assert.equal(enter(edits, place, 'old', stored(11, 'old'), name).size, 0);
});

test('the default back is a reset, and none where the default stands', () => {
  const edits = enter(nothing, place, null, stored(11, 'old'), name);
  assert.deepEqual(changesOf(edits), [{number: 11, record: null, reset: true}]);
  assert.equal(enter(nothing, place, null, defaultValue(name, null), name).size, 0);
});

test('an emptied text stays while the user is at it, and then is the default', () => {
  const edits = enter(nothing, place, '', defaultValue(name, null), name);
  assert.equal(edits.get('11')?.text, '');
  assert.equal(settle(edits, place, defaultValue(name, null), name).size, 0);
  const stands = enter(nothing, place, '', stored(11, 'old'), name);
  assert.equal(settle(stands, place, stored(11, 'old'), name).size, 1);
  assert.deepEqual(changesOf(stands), [{number: 11, record: null, reset: true}]);
  const edit = stands.get('11');
  assert.equal(edit && editedText(edit, name), 'gateway');
});

test('records are places of their own', () => {
  const edits = enter(nothing, {number: 11, record: 7}, 'new', undefined, name);
  assert.equal(merge(edits, stored(11, 'other'), name), edits);
  assert.equal(conflictsIn(merge(edits, stored(11, 'other', 7), name)), 1);
});

test('another value at an edited place is a conflict', () => {
  const edits = enter(nothing, place, 'mine', stored(11, 'old'), name);
  const merged = merge(edits, stored(11, 'theirs'), name);
  assert.equal(merged.get('11')?.conflict?.value, 'theirs');
  assert.equal(merged.get('11')?.text, 'mine');
});

test('the value that was there when the edit began is no conflict', () => {
  const edits = enter(nothing, place, 'mine', stored(11, 'old'), name);
  assert.equal(conflictsIn(merge(edits, stored(11, 'old'), name)), 0);
  const back = merge(merge(edits, stored(11, 'theirs'), name), stored(11, 'old'), name);
  assert.equal(conflictsIn(back), 0);
  assert.equal(back.size, 1);
});

test('a value that is what the user wants ends the edit', () => {
  const edits = enter(nothing, place, 'same', stored(11, 'old'), name);
  assert.equal(merge(edits, stored(11, 'same'), name).size, 0);
  const reset = enter(nothing, place, null, stored(11, 'old'), name);
  assert.equal(merge(reset, defaultValue(name, null), name).size, 0);
});

test('the user keeps the edit over the value that has come, or takes that', () => {
  const edits = enter(nothing, place, 'mine', stored(11, 'old'), name);
  const merged = merge(edits, stored(11, 'theirs'), name);
  const kept = decide(merged, place, true);
  assert.equal(kept.get('11')?.conflict, null);
  assert.equal(conflictsIn(merge(kept, stored(11, 'theirs'), name)), 0);
  assert.equal(conflictsIn(merge(kept, stored(11, 'again'), name)), 1);
  assert.equal(decide(merged, place, false).size, 0);
});

test('typing on does not end a conflict', () => {
  const edits = enter(nothing, place, 'mine', stored(11, 'old'), name);
  const merged = merge(edits, stored(11, 'theirs'), name);
  const typed = enter(merged, place, 'theirs', stored(11, 'theirs'), name);
  assert.equal(conflictsIn(typed), 1);
});

test('a secret that is not told and changes is a conflict only when it was', () => {
  const secret = {number: 11, record: null, secret: true, value: null, source: 'server'} as const;
  const edits = enter(nothing, place, 'mine', secret, name);
  assert.equal(conflictsIn(merge(edits, {...secret}, name)), 0);
});

test('refusals stand at their edits until the next ones', () => {
  const edits = enter(nothing, place, 'bad', stored(11, 'old'), name);
  const refused = noteRefusals(edits, [{number: 11, record: null, reason: 'no'}]);
  assert.equal(refused.get('11')?.refused, 'no');
  assert.equal(noteRefusals(refused, []).get('11')?.refused, '');
  assert.equal(noteRefusals(edits, [{number: null, record: null, reason: 'no'}]).size, 1);
});

test('what is taken back is no change', () => {
  const edits = enter(nothing, place, 'new', stored(11, 'old'), name);
  assert.deepEqual(changesOf(drop(edits, place)), []);
});
