// SPDX-License-Identifier: MIT
// Pauses before another try.
import assert from 'node:assert/strict';
import {test} from 'node:test';
import {Pauses, retryAfter} from '@page/pauses';

function take(pauses: Pauses, count: number): number[] {
  return Array.from({length: count}, () => pauses.take());
}

test('pauses grow up to the longest', () => {
  const pauses = new Pauses(500, 4000, () => 0.5);
  assert.deepEqual(take(pauses, 6), [500, 1000, 2000, 4000, 4000, 4000]);
});

test('after a success they begin anew', () => {
  const pauses = new Pauses(500, 4000, () => 0.5);
  take(pauses, 3);
  pauses.reset();
  assert.equal(pauses.take(), 500);
});

test('pages that are sent away together do not come back together', () => {
  assert.equal(new Pauses(1000, 4000, () => 0).take(), 750);
  assert.equal(new Pauses(1000, 4000, () => 1).take(), 1250);
});

test('no pause is shorter than the service asks for', () => {
  const pauses = new Pauses(500, 4000, () => 0.5);
  assert.equal(pauses.take(3000), 3000);
  assert.equal(pauses.take(300), 1000);
});

test('what the service asks for are seconds, and not too many', () => {
  assert.equal(retryAfter('3'), 3000);
  assert.equal(retryAfter('999999'), 60000);
  for (const header of [null, '', '-1', '1.5', 'soon', '9999999', 'Wed, 21 Oct 2026 07:28:00 GMT']) {
    assert.equal(retryAfter(header), 0, String(header));
  }
});
